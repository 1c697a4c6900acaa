#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/filters/MessageMasks.hpp"

// Lets messages go on by their type, and channel messages by their channel too.

namespace varnolex {
namespace {

struct FilterSettings {
    /// 1 to 16; 0 is all channels.
    std::uint8_t valChannel = 0;
    std::uint8_t valVoiceMessages = 0x3F;
    std::uint8_t valSystemCommon = 0x0F;
    std::uint8_t valSystemExclusive = 1;
    std::uint8_t valRealTime = 0x3F;

    static FilterSettings fresh() { return {0, 0x3F, 0xFF, 1, 0xFF}; }
};

using namespace parameters;

constexpr std::array table{
    byte<&FilterSettings::valChannel>("valChannel"),
    byte<&FilterSettings::valVoiceMessages>("valVoiceMessages"),
    byte<&FilterSettings::valSystemCommon>("valSystemCommon"),
    byte<&FilterSettings::valSystemExclusive>("valSystemExclusive"),
    byte<&FilterSettings::valRealTime>("valRealTime"),
};

class FilterTool final : public ConfiguredTool<FilterSettings> {
public:
    FilterTool() : ConfiguredTool(filterDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (message.isEmptyCarrier() || passesFilter(message.status(), current())) return chain.forward(message);
        chain.forward(message.dropped());
    }

private:
    static bool passesFilter(std::uint8_t status, const FilterSettings& now) {
        if (status < 0xF0) return passesVoice(status, now.valChannel, now.valVoiceMessages);
        if (status == 0xF0) return now.valSystemExclusive != 0;
        if (status < 0xF8) return passesSystemCommon(status, now.valSystemCommon);
        return passesRealTime(status, now.valRealTime);
    }
};

}  // namespace

const ToolDefinition filterDefinition{PipeToolType::filter, "FilterConfig", table,
                                      []() -> std::shared_ptr<PipeTool> { return std::make_shared<FilterTool>(); }};

}  // namespace varnolex
