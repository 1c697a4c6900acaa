#include "engine/ToolChain.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/parameternumbers/ParameterNumberEvent.hpp"

// Unfolds the events of the assembler of the same kind into four controllers each. Everything else passes.

namespace varnolex {
namespace {

class ParameterNumberDisassembler : public PipeTool {
public:
    ParameterNumberDisassembler(const ToolDefinition& definition, const ParameterNumberKind& numbers)
        : PipeTool(definition), kind(numbers) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (message.length != std::tuple_size_v<ParameterNumberEvent> || message.status() != kind.status)
            return chain.forward(message);
        const auto channel = static_cast<std::uint8_t>(message.bytes[1] & 0x0F);
        const std::size_t count = kind.controllers.size();
        for (std::size_t place = 0; place < count; ++place) {
            const auto value = static_cast<std::uint8_t>(message.bytes[2 + place] & 0x7F);
            const ShortMessage controller = ShortMessage::controller(channel, kind.controllers[place], value);
            chain.forward((place + 1 < count ? message.notLast() : message).carrying(controller));
        }
    }

private:
    const ParameterNumberKind& kind;
};

class NRPNDisassemblerTool final : public ParameterNumberDisassembler {
public:
    NRPNDisassemblerTool() : ParameterNumberDisassembler(nrpnDisassemblerDefinition, nrpnKind) {}
};

class RPNDisassemblerTool final : public ParameterNumberDisassembler {
public:
    RPNDisassemblerTool() : ParameterNumberDisassembler(rpnDisassemblerDefinition, rpnKind) {}
};

}  // namespace

const ToolDefinition nrpnDisassemblerDefinition{
    PipeToolType::nrpnDisassembler, "", {}, []() -> std::shared_ptr<PipeTool> {
        return std::make_shared<NRPNDisassemblerTool>();
    }};

const ToolDefinition rpnDisassemblerDefinition{
    PipeToolType::rpnDisassembler, "", {}, []() -> std::shared_ptr<PipeTool> {
        return std::make_shared<RPNDisassemblerTool>();
    }};

}  // namespace varnolex
