#include <array>
#include <optional>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/mpe/MPEVoices.hpp"

// Gives each note of a normal stream a member channel of its own in an MPE zone, and takes what holds for all notes to
// the master channel. Before the first note, and after a change of the zone, it tells the receiver of the zone. When no
// channel is free, the oldest note gives way. What sounds outlives every change of settings.

namespace varnolex {
namespace {

/// What a receiver is told of a zone.
struct SentZone {
    MPEZoneType type;
    std::int64_t memberCount;

    bool operator==(const SentZone&) const = default;
};

struct MPEDistributorSettings {
    struct Reduced {
        MPEChannels channels;
        SentZone zone;
        std::int64_t bendRange;
        bool autoSendConfig;
    };

    /// 0 for the lower zone, 1 for the upper one.
    std::int64_t zoneType = 0;
    std::int64_t memberCount = 8;
    /// Semitones.
    std::int64_t bendRange = MPEZone::defaultBendRange;
    bool autoSendConfig = true;

    Reduced realTime() const {
        const MPEZoneType type = zoneTypeOf(zoneType);
        return {MPEChannels::of(type, memberCount), {type, memberCount}, bendRange, autoSendConfig};
    }
};

using namespace parameters;

constexpr std::array table{
    integer<&MPEDistributorSettings::zoneType>("zoneType"),
    integer<&MPEDistributorSettings::memberCount>("memberCount"),
    integer<&MPEDistributorSettings::bendRange>("bendRange"),
    toggle<&MPEDistributorSettings::autoSendConfig>("autoSendConfig"),
};

class MPEDistributorTool final : public ConfiguredTool<MPEDistributorSettings> {
public:
    MPEDistributorTool() : ConfiguredTool(mpeDistributorDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (message.isNoteOn()) return begin(message, chain);
        if (message.isNoteEnd()) return end(message, chain);
        if (!concernsAll(message)) return chain.forward(message);
        const std::uint8_t master = settingsInWalk().channels.master;
        const ShortMessage moved(static_cast<std::uint8_t>(message.kind() | master), message);
        chain.forward(message.carrying(moved));
    }

private:
    static bool concernsAll(const ChainMessage& message) {
        return message.isChannelPressure() || message.isController() || message.isThreeBytes(0xE0);
    }

    /// Out of the way of the other messages.
    [[gnu::noinline]] void begin(const ChainMessage& message, ToolChain& chain) {
        const MPEDistributorSettings::Reduced& now = settingsInWalk();
        const bool isNews = now.autoSendConfig && sentZone != now.zone;
        const MPEVoices::Allocation voice = voices.allocate(message.noteKey(), now.channels);
        if (isNews || voice.stolen) [[unlikely]]
            return prepareAndPlay(message, voice, isNews, chain);
        play(message, voice, chain);
    }

    [[gnu::noinline]] void prepareAndPlay(const ChainMessage& message, const MPEVoices::Allocation& voice, bool isNews,
                                          ToolChain& chain) {
        if (isNews) {
            const MPEDistributorSettings::Reduced now = settingsInWalk();
            sentZone = now.zone;
            sendConfiguration(message, now, chain);
        }
        if (voice.stolen) {
            const ShortMessage off = ShortMessage::noteOff(voice.stolen->channel, voice.stolen->note);
            chain.forward(message.notLast().carrying(off));
        }
        play(message, voice, chain);
    }

    static void play(const ChainMessage& message, const MPEVoices::Allocation& voice, ToolChain& chain) {
        const ShortMessage on = ShortMessage::noteOn(voice.channel, message.data1(), message.data2());
        chain.forward(message.carrying(on));
    }

    static void sendConfiguration(const ChainMessage& cause, const MPEDistributorSettings::Reduced& now,
                                  ToolChain& chain) {
        const MPEChannels zone = now.channels;
        for (const ShortMessage& change : registeredParameter(zone.master, zoneSizeParameter, now.zone.memberCount))
            chain.forward(cause.notLast().carrying(change));
        for (std::uint8_t channel = zone.first; zone.hasMember(channel); ++channel) {
            const auto changes = registeredParameter(channel, bendSensitivityParameter, now.bendRange);
            const bool isLastMember = !zone.hasMember(channel + 1);
            for (const ShortMessage& change : changes) {
                const ChainMessage place =
                    isLastMember && &change == &changes.back() ? cause.asLast() : cause.notLast();
                chain.forward(place.carrying(change));
            }
        }
    }

    void end(const ChainMessage& message, ToolChain& chain) {
        const auto channel = voices.release(message.noteKey());
        if (!channel) return chain.forward(message);
        const ShortMessage moved(static_cast<std::uint8_t>(message.kind() | *channel), message);
        chain.forward(message.carrying(moved));
    }

    // Touched inside walks only.
    MPEVoices voices;
    /// What the receiver was last told.
    std::optional<SentZone> sentZone;
};

}  // namespace

const ToolDefinition mpeDistributorDefinition{
    PipeToolType::mpeDistributor, "MPEDistributorConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<MPEDistributorTool>(); }};

}  // namespace varnolex
