#pragma once

#include <bitset>
#include <cstdint>

#include "engine/ConfiguredTool.hpp"
#include "platform/concurrency/Guarded.hpp"

namespace varnolex {

struct KeyboardSettings {
    /// 0 to 15.
    std::uint8_t outputChannel = 0;
    std::uint8_t velocity = 100;
    /// In octaves.
    std::int64_t octaveOffset = 0;
};

/// The on-screen keyboard of a node: a source of notes, and a display of those that pass.
class KeyboardTool final : public ConfiguredTool<KeyboardSettings> {
public:
    using Keys = std::bitset<128>;

    KeyboardTool();

    void process(const ChainMessage& message, ToolChain& chain) override;

    /// A key of the panel goes down or up. The octave counts as it stands at that moment; a note beyond the range of
    /// MIDI isn't played. Main thread.
    void noteOn(std::uint8_t note);
    void noteOff(std::uint8_t note);

    /// The notes that the panel shows as pressed. Any thread.
    Keys pressedKeys() const { return pressed.get(); }

private:
    void play(std::uint8_t note, bool isOn);
    void show(std::uint8_t note, bool isOn);

    Guarded<Keys> pressed;
};

}  // namespace varnolex
