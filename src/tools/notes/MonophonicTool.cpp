#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "engine/WalkState.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/notes/HeldNotes.hpp"

// Lets one note sound at a time: the last, the lowest or the highest of those held. When it ends, the next best of
// the held ones takes over. All channels share the one voice.

namespace varnolex {
namespace {

enum NotePriority { lastNote, lowestNote, highestNote };

struct MonophonicSettings {
    /// A `NotePriority`; any other number means the last note.
    std::int64_t mode = lastNote;
};

using namespace parameters;

constexpr std::array table{
    integer<&MonophonicSettings::mode>("mode"),
};

class MonophonicTool final : public ConfiguredTool<MonophonicSettings> {
public:
    MonophonicTool() : ConfiguredTool(monophonicDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (message.isNoteOn()) return begin(message, chain);
        if (message.isNoteEnd()) return end(message, chain);
        chain.forward(message);
    }

protected:
    void enabledDidChange(bool isOn) override {
        if (!isOn) voice.forget();
    }

private:
    struct Voice {
        HeldNotes activeNotes;
        std::optional<std::uint8_t> currentNote;
    };

    // Out of the way of what passes.

    [[gnu::noinline]] void begin(const ChainMessage& message, ToolChain& chain) {
        Voice& now = voice.inWalk();
        const auto old = now.currentNote;
        now.activeNotes.press(message.data1() & 0x7F, message.data2());
        const HeldNotes::Key winner = selected(now.activeNotes);
        now.currentNote = winner.note;
        if (old) chain.forward(message.notLast().carrying(ShortMessage::noteOff(message.channel(), *old)));
        const ShortMessage on(message.status(), winner.note, winner.velocity);
        chain.forward(message.carrying(on));
    }

    [[gnu::noinline]] void end(const ChainMessage& message, ToolChain& chain) {
        Voice& now = voice.inWalk();
        const std::uint8_t released = message.data1() & 0x7F;
        now.activeNotes.release(released);
        if (now.currentNote != released) return chain.forward(message.dropped());
        now.currentNote.reset();
        const ShortMessage off = ShortMessage::noteOff(message.channel(), released);
        if (now.activeNotes.isEmpty()) return chain.forward(message.carrying(off));

        const HeldNotes::Key winner = selected(now.activeNotes);
        now.currentNote = winner.note;
        chain.forward(message.notLast().carrying(off));
        const ShortMessage on = ShortMessage::noteOn(message.channel(), winner.note, winner.velocity);
        chain.forward(message.carrying(on));
    }

    HeldNotes::Key selected(const HeldNotes& notes) const {
        switch (settingsInWalk().mode) {
            case lowestNote:
                return notes.lowest();
            case highestNote:
                return notes.highest();
            default:
                return notes.last();
        }
    }

    WalkState<Voice> voice;
};

}  // namespace

const ToolDefinition monophonicDefinition{
    PipeToolType::monophonic, "MonophonicConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<MonophonicTool>(); }};

}  // namespace varnolex
