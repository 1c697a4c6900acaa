#include <array>
#include <bit>
#include <utility>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "engine/WalkState.hpp"
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

/// A set of note keys (note + 128 x channel).
class KeySet {
public:
    void insert(std::uint16_t key) { words[key / 64] |= bitOf(key); }

    bool remove(std::uint16_t key) {
        const bool wasThere = (words[key / 64] & bitOf(key)) != 0;
        words[key / 64] &= ~bitOf(key);
        return wasThere;
    }

    template <class Use>
    void forEach(Use&& use) const {
        for (std::size_t word = 0; word < words.size(); ++word)
            for (std::uint64_t bits = words[word]; bits != 0; bits &= bits - 1)
                use(static_cast<std::uint16_t>(64 * word + static_cast<std::size_t>(std::countr_zero(bits))));
    }

private:
    static std::uint64_t bitOf(std::uint16_t key) { return std::uint64_t{1} << (key % 64); }

    std::array<std::uint64_t, 16 * 128 / 64> words{};
};

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
