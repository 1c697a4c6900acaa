#include <array>
#include <utility>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "engine/WalkState.hpp"
#include "tools/KeySet.hpp"
#include "tools/ToolDefinitions.hpp"

// Keeps notes sounding after their keys are released: until the key's second press, until another key when only one
// note may be latched, or until "all notes off" (controller 123).

namespace varnolex {
namespace {

struct LatchSettings {
    /// Whether a second press of a key ends its note; else it plays it again.
    bool toggleMode = true;
    /// Whether a new note ends the latched ones.
    bool exclusiveMode = false;
};

using namespace parameters;

constexpr std::array table{
    toggle<&LatchSettings::toggleMode>("toggleMode"),
    toggle<&LatchSettings::exclusiveMode>("exclusiveMode"),
};

constexpr std::uint8_t allNotesOff = 123;

class LatchTool final : public ConfiguredTool<LatchSettings> {
public:
    LatchTool() : ConfiguredTool(latchDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (message.isNoteEnd()) return chain.forward(message.dropped());
        if (message.isNoteOn()) return press(message, chain);
        if (message.isController() && message.data1() == allNotesOff) releaseAll(message, chain);
        chain.forward(message);
    }

protected:
    void enabledDidChange(bool isOn) override {
        if (!isOn) heldNotes.forget();
    }

private:
    void press(const ChainMessage& message, ToolChain& chain) {
        const LatchSettings now = current();
        if (now.toggleMode && heldNotes.inWalk().remove(message.noteKey())) {
            const ShortMessage off = ShortMessage::noteOff(message.channel(), message.data1());
            return chain.forward(message.carrying(off));
        }
        if (now.exclusiveMode) releaseAll(message, chain);
        heldNotes.inWalk().insert(message.noteKey());
        chain.forward(message);
    }

    /// Ends every latched note ahead of `message`.
    void releaseAll(const ChainMessage& message, ToolChain& chain) {
        const KeySet released = std::exchange(heldNotes.inWalk(), {});
        released.forEach([&](std::uint16_t key) {
            const auto note = static_cast<std::uint8_t>(key % 128);
            const ShortMessage off = ShortMessage::noteOff(static_cast<std::uint8_t>(key / 128), note);
            chain.forward(message.notLast().carrying(off));
        });
    }

    WalkState<KeySet> heldNotes;
};

}  // namespace

const ToolDefinition latchDefinition{PipeToolType::latch, "LatchConfig", table,
                                     []() -> std::shared_ptr<PipeTool> { return std::make_shared<LatchTool>(); }};

}  // namespace varnolex
