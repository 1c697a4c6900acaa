#include "tools/devices/KeyboardTool.hpp"

#include <algorithm>
#include <array>

#include "engine/ToolChain.hpp"
#include "platform/Runtime.hpp"
#include "tools/ToolDefinitions.hpp"

// Plays what is pressed on the keyboard of its panel, and shows there what is pressed, by the panel or by notes that
// come in. All that comes in passes.

namespace varnolex {
namespace {

using namespace parameters;

constexpr std::array table{
    byte<&KeyboardSettings::outputChannel>("outputChannel"),
    byte<&KeyboardSettings::velocity>("velocity"),
    integer<&KeyboardSettings::octaveOffset>("octaveOffset"),
};

/// Beyond this no key is within the range of MIDI.
constexpr std::int64_t farthestOctave = 100;

}  // namespace

KeyboardTool::KeyboardTool() : ConfiguredTool(keyboardDefinition) {}

void KeyboardTool::process(const ChainMessage& message, ToolChain& chain) {
    if (message.isNote()) [[unlikely]]
        show(message.data1() & 0x7F, message.isNoteOn());
    chain.forward(message);
}

void KeyboardTool::noteOn(std::uint8_t note) { play(note, true); }

void KeyboardTool::noteOff(std::uint8_t note) { play(note, false); }

void KeyboardTool::play(std::uint8_t note, bool isOn) {
    const auto owner = chain();
    if (!owner) return;
    const std::int64_t octave = std::clamp(settings().octaveOffset, -farthestOctave, farthestOctave);
    const std::int64_t number = octave * 12 + note;
    if (number < 0 || number > 127) return;
    const auto sounding = static_cast<std::uint8_t>(number);
    const std::uint8_t channel = settings().outputChannel & 0x0F;
    show(sounding, isOn);
    const ShortMessage bytes = isOn ? ShortMessage::noteOn(channel, sounding, settings().velocity & 0x7F)
                                    : ShortMessage::noteOff(channel, sounding);
    const ChainMessage place{nullptr, 0, Runtime::current().hostTime(), true};
    owner->send(place.carrying(bytes));
}

void KeyboardTool::show(std::uint8_t note, bool isOn) {
    pressed.with([&](Keys& keys) { keys.set(note, isOn); });
}

const ToolDefinition keyboardDefinition{PipeToolType::keyboard, "KeyboardConfig", table,
                                        []() -> std::shared_ptr<PipeTool> { return std::make_shared<KeyboardTool>(); }};

}  // namespace varnolex
