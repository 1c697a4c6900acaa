#include <algorithm>
#include <array>
#include <utility>

#include "engine/ConfiguredTool.hpp"
#include "engine/WalkState.hpp"
#include "platform/StableSort.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/timing/DelayedMessages.hpp"
#include "tools/timing/PendingNotes.hpp"

// Plays the notes of a chord one after another, evenly over the spread. A chord is every note less than the window
// behind the one before. The end of a note is as late as its beginning, so that notes keep their lengths.

namespace varnolex {
namespace {

constexpr std::chrono::milliseconds window(20);

enum StrumDirection : std::int64_t { strumUp, strumDown };

struct StrumSettings {
    /// A `StrumDirection`: low notes first, or high ones.
    std::int64_t direction = strumUp;
    /// Milliseconds between the first and the last note.
    std::int64_t spreadMs = 50;

    static StrumSettings fresh() { return {.spreadMs = 30}; }
};

struct StrumLives {
    LiveValue spreadMs;
};

using namespace parameters;

constexpr std::array table{
    integer<&StrumSettings::direction>("direction"),
    integer<&StrumSettings::spreadMs>("spreadMs").port("Spread (ms)", 1, 500).rides<&StrumLives::spreadMs>(),
};

class StrumTool final : public ConfiguredTool<StrumSettings, StrumLives> {
public:
    StrumTool() : ConfiguredTool(strumDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (message.isNoteOn()) return gather(message, chain);
        if (message.isNoteEnd()) return endNote(message, chain);
        chain.forward(message);
    }

    void stop() override {
        inWalkOf(*this, [this] {
            flushTimer.cancel();
            delayed.cancel();
        });
        running.forget();
    }

private:
    struct State {
        PendingNotes pendingNotes;
        /// Milliseconds, by note key.
        std::array<std::uint16_t, 16 * 128> noteDelays{};
    };

    void gather(const ChainMessage& note, ToolChain& chain) {
        if (running.inWalk().pendingNotes.isFull()) flush(chain);
        running.inWalk().pendingNotes.append(note);
        flushTimer.startAfter(window, [this](ToolChain& owner) { flush(owner); });
        chain.forward(note.dropped());
    }

    void flush(ToolChain& chain) {
        State& state = running.inWalk();
        PendingNotes chord = state.pendingNotes;
        state.pendingNotes.clear();
        const std::span<PendingNote> notes = chord.all();
        const StrumSettings now = current();
        sort(notes, now.direction);
        const auto spread = static_cast<std::size_t>(clampedLive(1, 5000, live().spreadMs, now.spreadMs));
        const std::size_t steps = std::max<std::size_t>(notes.size(), 2) - 1;
        for (std::size_t index = 0; index < notes.size(); ++index) {
            const ChainMessage note = notes[index].message();
            const std::size_t wait = spread * index / steps;
            running.inWalk().noteDelays[note.noteKey()] = static_cast<std::uint16_t>(wait);
            delayed.forward(index + 1 == notes.size() ? note : note.notLast(), milliseconds(wait), chain);
        }
    }

    /// By note, those of one note in the order in which they came; all of it backwards for a strum downwards.
    static void sort(std::span<PendingNote> notes, std::int64_t direction) {
        const auto isLower = [](const PendingNote& one, const PendingNote& other) {
            return one.bytes[1] < other.bytes[1];
        };
        stableSortInPlace(notes.begin(), notes.end(), isLower);
        if (direction == strumDown) std::ranges::reverse(notes);
    }

    void endNote(const ChainMessage& message, ToolChain& chain) {
        const milliseconds wait(std::exchange(running.inWalk().noteDelays[message.noteKey()], 0));
        if (wait.count() == 0) return chain.forward(message);
        delayed.forward(message.asLast(), wait, chain);
        chain.forward(message.dropped());
    }

    using milliseconds = std::chrono::milliseconds;

    WalkState<State> running;
    WalkTimer flushTimer{*this, "com.varnolex.strum"};
    DelayedMessages delayed{*this, "com.varnolex.strum"};
};

}  // namespace

const ToolDefinition strumDefinition{PipeToolType::strum, "StrumConfig", table,
                                     []() -> std::shared_ptr<PipeTool> { return std::make_shared<StrumTool>(); }};

}  // namespace varnolex
