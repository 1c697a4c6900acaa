#include <array>
#include <utility>

#include "engine/ConfiguredTool.hpp"
#include "engine/WalkState.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/timing/DelayedMessages.hpp"

// Gives notes a minimum length: the end of a shorter one waits for what is missing. It never shortens a note.

namespace varnolex {
namespace {

struct DurationSettings {
    /// Milliseconds.
    std::int64_t durationMs = 200;

    static DurationSettings fresh() { return {.durationMs = 100}; }
};

struct DurationLives {
    LiveValue durationMs;
};

using namespace parameters;

constexpr std::array table{
    integer<&DurationSettings::durationMs>("durationMs")
        .port("Duration (ms)", 1, 5000)
        .rides<&DurationLives::durationMs>(),
};

class DurationTool final : public ConfiguredTool<DurationSettings, DurationLives> {
public:
    DurationTool() : ConfiguredTool(durationToolDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (message.isNoteOn())
            noteOnTimes.inWalk()[message.noteKey()] = Runtime::current().hostTime();
        else if (message.isNoteEnd())
            return endNote(message, chain);
        chain.forward(message);
    }

    void stop() override {
        inWalkOf(*this, [this] { delayed.cancel(); });
        noteOnTimes.forget();
    }

private:
    /// By note key; 0 for one that doesn't sound.
    using NoteOnTimes = std::array<HostTime, 16 * 128>;

    void endNote(const ChainMessage& message, ToolChain& chain) {
        const HostTime began = std::exchange(noteOnTimes.inWalk()[message.noteKey()], 0);
        if (began == 0) return chain.forward(message);
        const auto elapsed = std::chrono::floor<std::chrono::milliseconds>(
            Nanoseconds(static_cast<Nanoseconds::rep>(Runtime::current().hostTime() - began)));
        const std::chrono::milliseconds shortest(clampedLive(0, 600'000, live().durationMs, current().durationMs));
        if (shortest <= elapsed) return chain.forward(message);
        delayed.forward(message.asLast(), shortest - elapsed, chain);
        chain.forward(message.dropped());
    }

    WalkState<NoteOnTimes> noteOnTimes;
    DelayedMessages delayed{*this, "com.varnolex.duration"};
};

}  // namespace

const ToolDefinition durationToolDefinition{
    PipeToolType::durationTool, "DurationConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<DurationTool>(); }};

}  // namespace varnolex
