#include <algorithm>
#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "engine/WalkState.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/timing/PendingNotes.hpp"

// Holds Note Ons until the incoming clock reaches the next line of a grid. One that comes late in its step, behind the
// border that the lookahead draws, waits for the line after that. Without a clock notes wait.

namespace varnolex {
namespace {

/// Ticks between two lines, 24 a quarter note.
constexpr std::array<std::int64_t, 6> grids{24, 12, 6, 3, 8, 18};

struct QuantizeSettings {
    /// A place in `grids`.
    std::int64_t gridIndex = 1;
    /// A switch: 0 passes everything, anything above quantizes.
    std::int64_t strength = 100;
    /// Percent of a step, from its end.
    std::int64_t lookahead = 50;
};

struct QuantizeLives {
    LiveValue strength;
};

using namespace parameters;

constexpr std::array table{
    integer<&QuantizeSettings::gridIndex>("gridIndex"),
    integer<&QuantizeSettings::strength>("strength").port("Strength", 0, 100).rides<&QuantizeLives::strength>(),
    integer<&QuantizeSettings::lookahead>("lookahead"),
};

std::int64_t gridOf(const QuantizeSettings& now) {
    return grids[static_cast<std::size_t>(std::clamp<std::int64_t>(now.gridIndex, 0, grids.size() - 1))];
}

class QuantizeTool final : public ConfiguredTool<QuantizeSettings, QuantizeLives> {
public:
    QuantizeTool() : ConfiguredTool(quantizeDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (message.isClockTick()) return tick(message, chain);
        if (message.isNoteOn() && hold(message)) return chain.forward(message.dropped());
        chain.forward(message);
    }

    /// A note that was played for what was then must not sound when the clock comes back.
    void stop() override { buckets.forget(); }

protected:
    void enabledDidChange(bool isOn) override {
        if (!isOn) stop();
    }

private:
    struct Buckets {
        PendingNotes current;
        PendingNotes next;
    };

    /// False when the note is to pass: nothing is quantized, or too much waits already.
    bool hold(const ChainMessage& note) {
        const QuantizeSettings now = current();
        if (clampedLive(0, 100, live().strength, now.strength) == 0) return false;
        const std::int64_t grid = gridOf(now);
        const std::int64_t border = grid - grid * std::clamp<std::int64_t>(now.lookahead, -1000, 1000) / 100;
        Buckets& held = buckets.inWalk();
        PendingNotes& bucket = clockCount % grid >= border ? held.next : held.current;
        if (bucket.isFull()) return false;
        bucket.append(note);
        return true;
    }

    void tick(const ChainMessage& message, ToolChain& chain) {
        if (++clockCount % gridOf(current()) == 0) release(chain);
        chain.forward(message);
    }

    void release(ToolChain& chain) {
        Buckets& held = buckets.inWalk();
        if (held.current.isEmpty() && held.next.isEmpty()) return;
        const PendingNotes released = held.current;
        held.current = held.next;
        held.next.clear();
        for (const PendingNote& note : released.all()) {
            const bool isEnd = &note == &released.all().back();
            chain.forward(isEnd ? note.message() : note.message().notLast());
        }
    }

    /// Touched inside walks only.
    std::int64_t clockCount = 0;
    WalkState<Buckets> buckets;
};

}  // namespace

const ToolDefinition quantizeDefinition{PipeToolType::quantize, "QuantizeConfig", table,
                                        []() -> std::shared_ptr<PipeTool> { return std::make_shared<QuantizeTool>(); }};

}  // namespace varnolex
