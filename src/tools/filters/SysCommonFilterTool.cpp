#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/filters/MessageMasks.hpp"

// Lets system common messages go on by type. Everything else passes, SysEx included.

namespace varnolex {
namespace {

struct SysCommonFilterSettings {
    std::uint8_t valSystemCommon = 0xFF;
};

using namespace parameters;

constexpr std::array table{
    byte<&SysCommonFilterSettings::valSystemCommon>("valSystemCommon"),
};

class SysCommonFilterTool final : public ConfiguredTool<SysCommonFilterSettings> {
public:
    SysCommonFilterTool() : ConfiguredTool(sysCommonFilterDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (message.isEmptyCarrier() || passesFilter(message.status(), current())) return chain.forward(message);
        chain.forward(message.dropped());
    }

private:
    static bool passesFilter(std::uint8_t status, const SysCommonFilterSettings& now) {
        return status <= 0xF0 || status >= 0xF8 || passesSystemCommon(status, now.valSystemCommon);
    }
};

}  // namespace

const ToolDefinition sysCommonFilterDefinition{
    PipeToolType::sysCommonFilter, "SysCommonFilterConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<SysCommonFilterTool>(); }};

}  // namespace varnolex
