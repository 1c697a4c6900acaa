#include <algorithm>
#include <array>
#include <string>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "platform/Runtime.hpp"
#include "platform/keys/KeyService.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/timing/WalkTimer.hpp"

// Plays notes on the computer's keyboard, whatever window is in front: two octaves, laid out as on a piano. What comes
// in passes. Keys arrive on the thread of the key service and go on from there, so that no note waits for the main
// thread.

namespace varnolex {
namespace {

struct KeyboardInputSettings {
    std::int64_t baseOctave = 4;
    std::uint8_t velocity = 100;
    /// 0 to 15.
    std::uint8_t outputChannel = 0;
};

using namespace parameters;

constexpr std::array table{
    integer<&KeyboardInputSettings::baseOctave>("baseOctave"),
    byte<&KeyboardInputSettings::velocity>("velocity"),
    byte<&KeyboardInputSettings::outputChannel>("outputChannel"),
};

/// The keys by semitone. On an English keyboard: Z S X D C V G B H N J M, then Q 2 W 3 E R 5 T 6 Y 7 U.
constexpr std::array<KeyCode, 24> keyMap{6,  1,  7,  2,  8,  9,  5,  11, 4,  45, 38, 46,
                                         12, 19, 13, 20, 14, 15, 23, 17, 22, 16, 26, 32};

/// Beyond this no key is within the range of MIDI.
constexpr std::int64_t farthestOctave = 100;

void noteNow(std::string_view line) {
    if (KeyService* const keys = KeyService::shared()) keys->note("[KeyboardInputTool] " + std::string(line));
}

/// From the service's thread. `line` lives as long as the program.
void note(const char* line, std::optional<KeyCode> keyCode = std::nullopt) {
    Runtime::current().postToMain(
        [line, keyCode] { noteNow(keyCode ? line + std::to_string(*keyCode) : std::string(line)); });
}

class KeyboardInputTool final : public ConfiguredTool<KeyboardInputSettings> {
public:
    KeyboardInputTool() : ConfiguredTool(keyboardInputDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override { chain.forward(message); }

    void start(std::uint32_t) override {
        KeyService* const keys = KeyService::shared();
        if (!keys || tap) return;
        if (!keys->mayListen()) {
            noteNow("Requesting Input Monitoring access...");
            return keys->requestAccess();
        }
        inWalkOf(*this, [this] { isPlayable = true; });
        tap = keys->listen([weak = weak_from_this()](const KeyEvent& event) {
            if (const auto tool = weak.lock()) static_cast<KeyboardInputTool&>(*tool).take(event);
        });
        noteNow(tap ? "CGEventTap created and enabled" : "ERROR: Failed to create event tap");
    }

    void stop() override {
        tap.reset();
        // Nobody would hear of their release.
        endSoundingNotes();
        noteNow("event tap disabled");
    }

protected:
    void enabledDidChange(bool isOn) override { isOn ? start(0) : stop(); }

private:
    struct HeldKey {
        bool isHeld = false;
        bool isSounding = false;
        std::uint8_t note = 0;
    };

    void take(const KeyEvent& event) {
        if (!isEnabled()) {
            if (event.isDown) note("ignored (disabled)");
            return;
        }
        const auto owner = chain();
        if (!owner) return note(event.isDown ? "ERROR: no chain" : "ERROR: no chain on keyUp");
        const auto* const place = std::ranges::find(keyMap, event.keyCode);
        if (place == keyMap.end())
            return event.isDown ? note("unmapped keyCode=", event.keyCode) : note("keyCode not in heldKeys");
        const auto semitone = static_cast<std::size_t>(place - keyMap.begin());
        owner->enter([&] { event.isDown ? press(semitone, *owner) : release(semitone, *owner); });
    }

    void press(std::size_t semitone, ToolChain& owner) {
        // A key may be on its way from the service while the tool stops.
        if (!isPlayable) return;
        HeldKey& key = heldKeys[semitone];
        if (key.isHeld) return note("already held");
        const KeyboardInputSettings now = current();
        const std::int64_t octave = std::clamp(now.baseOctave, -farthestOctave, farthestOctave);
        const std::int64_t number = std::max<std::int64_t>(octave * 12 + static_cast<std::int64_t>(semitone), 0);
        if (number > 127) return note("note out of range");
        key = {true, true, static_cast<std::uint8_t>(number)};
        send(ShortMessage::noteOn(now.outputChannel & 0x0F, key.note, now.velocity & 0x7F), owner);
    }

    void release(std::size_t semitone, ToolChain& owner) {
        HeldKey& key = heldKeys[semitone];
        if (!key.isHeld) return note("keyCode not in heldKeys");
        end(key, owner);
        key.isHeld = false;
    }

    void end(HeldKey& key, ToolChain& owner) {
        key.isSounding = false;
        send(ShortMessage::noteOff(current().outputChannel & 0x0F, key.note), owner);
    }

    /// The keys stay held: only their release lets them play again.
    void endSoundingNotes() {
        const auto owner = chain();
        inWalkOf(*this, [&] {
            isPlayable = false;
            for (HeldKey& key : heldKeys)
                if (key.isSounding && owner) end(key, *owner);
        });
    }

    static void send(const ShortMessage& bytes, ToolChain& owner) {
        const ChainMessage place{nullptr, 0, Runtime::current().hostTime(), true};
        owner.send(place.carrying(bytes));
    }

    std::unique_ptr<KeyTap> tap;

    // Touched inside walks only.
    bool isPlayable = false;
    /// By semitone.
    std::array<HeldKey, keyMap.size()> heldKeys{};
};

}  // namespace

const ToolDefinition keyboardInputDefinition{
    PipeToolType::keyboardInput, "KeyboardInputConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<KeyboardInputTool>(); }};

}  // namespace varnolex
