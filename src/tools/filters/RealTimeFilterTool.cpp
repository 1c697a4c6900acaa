#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/filters/MessageMasks.hpp"

// Lets real-time messages go on by type. Everything else passes.

namespace varnolex {
namespace {

struct RealTimeFilterSettings {
    std::uint8_t valRealTime = 0xFF;
};

using namespace parameters;

constexpr std::array table{
    byte<&RealTimeFilterSettings::valRealTime>("valRealTime"),
};

class RealTimeFilterTool final : public ConfiguredTool<RealTimeFilterSettings> {
public:
    RealTimeFilterTool() : ConfiguredTool(realTimeFilterDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (message.isEmptyCarrier() || passesFilter(message.status(), current())) return chain.forward(message);
        chain.forward(message.dropped());
    }

private:
    static bool passesFilter(std::uint8_t status, const RealTimeFilterSettings& now) {
        return status < 0xF8 || passesRealTime(status, now.valRealTime);
    }
};

}  // namespace

const ToolDefinition realTimeFilterDefinition{
    PipeToolType::realTimeFilter, "RealTimeFilterConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<RealTimeFilterTool>(); }};

}  // namespace varnolex
