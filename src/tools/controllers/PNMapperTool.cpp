#include <algorithm>
#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "tools/ByteTable.hpp"
#include "tools/ToolDefinitions.hpp"

// Gives each program another number by a table.

namespace varnolex {
namespace {

struct PNMapperSettings {
    ByteTable mapTable = identityTable();

    SharedByteTable::NoSnapshot realTime() const { return {}; }
};

using namespace parameters;

constexpr std::array table{
    list<&PNMapperSettings::mapTable, 0, 255>("mapTable"),
};

class PNMapperTool final : public ConfiguredTool<PNMapperSettings> {
public:
    PNMapperTool() : ConfiguredTool(pnMapperDefinition) { publishPrograms(); }

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (message.length < 2 || message.kind() != 0xC0) return chain.forward(message);
        const ShortMessage mapped(message.status(), programs[message.data1()]);
        chain.forward(message.carrying(mapped));
    }

protected:
    void settingsDidChange(const PNMapperSettings&) override { publishPrograms(); }

private:
    void publishPrograms() {
        programs.fill([&](std::size_t number) { return std::min<std::uint8_t>(settings().mapTable[number], 127); });
    }

    /// What each program becomes.
    SharedByteTable programs;
};

}  // namespace

const ToolDefinition pnMapperDefinition{PipeToolType::pnMapper, "PNMapperConfig", table,
                                        []() -> std::shared_ptr<PipeTool> { return std::make_shared<PNMapperTool>(); }};

}  // namespace varnolex
