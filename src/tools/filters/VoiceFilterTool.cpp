#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/filters/MessageMasks.hpp"

// Lets channel messages go on by type and channel, and SysEx by a switch. Everything else passes.

namespace varnolex {
namespace {

struct VoiceFilterSettings {
    /// 1 to 16; 0 is all channels.
    std::uint8_t valChannel = 0;
    std::uint8_t valVoiceMessages = 0x3F;
    std::uint8_t valSystemExclusive = 1;
};

using namespace parameters;

constexpr std::array table{
    byte<&VoiceFilterSettings::valChannel>("valChannel"),
    byte<&VoiceFilterSettings::valVoiceMessages>("valVoiceMessages"),
    byte<&VoiceFilterSettings::valSystemExclusive>("valSystemExclusive"),
};

class VoiceFilterTool final : public ConfiguredTool<VoiceFilterSettings> {
public:
    VoiceFilterTool() : ConfiguredTool(voiceFilterDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (message.isEmptyCarrier() || passesFilter(message.status(), current())) return chain.forward(message);
        chain.forward(message.dropped());
    }

private:
    static bool passesFilter(std::uint8_t status, const VoiceFilterSettings& now) {
        if (status < 0xF0) return passesVoice(status, now.valChannel, now.valVoiceMessages);
        return status != 0xF0 || now.valSystemExclusive != 0;
    }
};

}  // namespace

const ToolDefinition voiceFilterDefinition{
    PipeToolType::voiceFilter, "VoiceFilterConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<VoiceFilterTool>(); }};

}  // namespace varnolex
