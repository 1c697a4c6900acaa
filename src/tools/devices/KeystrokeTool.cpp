#include <algorithm>
#include <array>
#include <list>
#include <string>
#include <vector>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "engine/WalkOutbox.hpp"
#include "platform/Runtime.hpp"
#include "platform/keys/KeyService.hpp"
#include "tools/ToolDefinitions.hpp"

// Presses a key of the computer's keyboard when a message of the chosen kind has passed, for whatever window is in
// front. A key that is to be released later is released when the tool stops, if not before.

namespace varnolex {
namespace {

enum TriggerType : std::uint8_t { onNoteOn, onNoteOff, onController, onProgramChange, onAny, onNothing };
enum ActionType : std::int64_t { pressAndRelease, keyDownOnly, keyUpOnly };

constexpr std::int64_t lastChannel = 16;
/// Of a channel that no message has.
constexpr std::int64_t noChannel = 17;

struct KeystrokeLives {
    LiveValue triggerMinValue;
};

struct KeystrokeSettings {
    /// What decides whether a message triggers: all that most messages read.
    struct Trigger {
        TriggerType type;
        /// 1 to 16, or 0 for any.
        std::uint8_t channel;
        bool any;
        std::uint8_t note;
        std::uint8_t cc;
        std::uint8_t program;
        std::uint8_t minValue;
    };

    struct RealTime {
        Trigger trigger;
        KeyEvent down;
        std::int64_t actionType;
        std::int64_t slownessMs;

        void ride(const KeystrokeLives& live) {
            trigger.minValue = static_cast<std::uint8_t>(clampedLive(0, 127, live.triggerMinValue, trigger.minValue));
        }
    };

    std::int64_t triggerType = onNoteOn;
    /// 1 to 16; 0 is any.
    std::int64_t triggerChannel = 0;
    /// Any note, controller or program; else that of the fields below.
    bool triggerAny = true;
    std::uint8_t triggerNote = 60;
    std::uint8_t triggerCC = 0;
    std::uint8_t triggerProgram = 0;
    /// The least velocity or controller value that triggers.
    std::uint8_t triggerMinValue = 64;
    KeyCode keyCode = 0;
    std::uint64_t modifierFlags = 0;
    /// For the panel, as is the layout.
    std::string keyDisplayName;
    std::int64_t keyboardLayout = 0;
    std::int64_t actionType = pressAndRelease;
    /// Milliseconds from down to up.
    std::int64_t slownessMs = 0;

    RealTime realTime() const {
        const auto type = triggerType >= onNoteOn && triggerType < onNothing ? triggerType : std::int64_t{onNothing};
        const auto channel = triggerChannel >= 0 && triggerChannel <= lastChannel ? triggerChannel : noChannel;
        return {{static_cast<TriggerType>(type), static_cast<std::uint8_t>(channel), triggerAny, triggerNote, triggerCC,
                 triggerProgram, triggerMinValue},
                {keyCode, true, modifierFlags},
                actionType,
                slownessMs};
    }

    static KeystrokeSettings fresh() {
        KeystrokeSettings settings;
        settings.triggerMinValue = 1;
        return settings;
    }
};

using namespace parameters;

constexpr std::array table{
    integer<&KeystrokeSettings::triggerType>("triggerType"),
    integer<&KeystrokeSettings::triggerChannel>("triggerChannel"),
    toggle<&KeystrokeSettings::triggerAny>("triggerAny"),
    byte<&KeystrokeSettings::triggerNote>("triggerNote"),
    byte<&KeystrokeSettings::triggerCC>("triggerCC"),
    byte<&KeystrokeSettings::triggerProgram>("triggerProgram"),
    byte<&KeystrokeSettings::triggerMinValue>("triggerMinValue")
        .port("Min Value", 0, 127)
        .rides<&KeystrokeLives::triggerMinValue>(),
    word<&KeystrokeSettings::keyCode>("keyCode"),
    flags<&KeystrokeSettings::modifierFlags>("modifierFlags"),
    text<&KeystrokeSettings::keyDisplayName>("keyDisplayName"),
    integer<&KeystrokeSettings::keyboardLayout>("keyboardLayout"),
    integer<&KeystrokeSettings::actionType>("actionType"),
    integer<&KeystrokeSettings::slownessMs>("slownessMs"),
};

/// Keys that wait for their release. When more do, the oldest is released ahead of its time.
constexpr std::size_t mostReleases = 256;
constexpr std::int64_t longestSlowness = 60 * 60 * 1000;

void postKey(const KeyEvent& key) {
    if (KeyService* const keys = KeyService::shared()) keys->post(key);
}

KeyEvent upOf(KeyEvent key) {
    key.isDown = false;
    return key;
}

class KeystrokeTool final : public ConfiguredTool<KeystrokeSettings, KeystrokeLives> {
public:
    KeystrokeTool() : ConfiguredTool(keystrokeDefinition) {}
    ~KeystrokeTool() override { releaseAll(); }

    void process(const ChainMessage& message, ToolChain& chain) override {
        chain.forward(message);
        if (!message.isEmptyCarrier() && isTrigger(message)) [[unlikely]]
            trigger();
    }

    void stop() override { releaseAll(); }

protected:
    void enabledDidChange(bool isOn) override {
        if (!isOn) releaseAll();
    }

private:
    /// On its way to the main thread.
    struct Press {
        KeyEvent down;
        std::int64_t actionType;
        std::int64_t slownessMs;
        /// Of `runs`, when the message came.
        std::uint32_t run;
    };

    /// Those that wait for the main thread: more than anybody plays meanwhile. Of a flood some are left out.
    struct Presses {
        Presses() { list.reserve(256); }

        void add(const Press& press) {
            if (list.size() < list.capacity()) list.push_back(press);
        }

        std::vector<Press> list;
    };

    struct Release {
        KeyEvent up;
        WorkItem item;
    };

    bool isTrigger(const ChainMessage& message) const {
        const KeystrokeSettings::Trigger& now = settingsInWalk().trigger;
        if (now.channel != 0 && now.channel != message.channel() + 1) return false;
        const std::uint8_t data1 = message.length > 1 ? message.data1() : 0;
        const std::uint8_t data2 = message.length > 2 ? message.data2() : 0;
        switch (now.type) {
            case onNoteOn:
                return message.kind() == 0x90 && data2 > 0 && (now.any || data1 == now.note) && data2 >= now.minValue;
            case onNoteOff:
                return (message.kind() == 0x80 || (message.kind() == 0x90 && data2 == 0)) &&
                       (now.any || data1 == now.note);
            case onController:
                return message.kind() == 0xB0 && (now.any || data1 == now.cc) && data2 >= now.minValue;
            case onProgramChange:
                return message.kind() == 0xC0 && (now.any || data1 == now.program);
            case onAny:
                return true;
            case onNothing:
                break;
        }
        return false;
    }

    [[gnu::noinline]] void trigger() {
        const KeystrokeSettings::RealTime& now = settingsInWalk();
        outbox.inWalk().add({now.down, now.actionType, now.slownessMs, runs.get()});
    }

    void pressAll(Presses& presses) {
        for (const Press& press : presses.list)
            // A stop in the meantime would wait for no release: it comes at once.
            act(press.down, press.actionType, press.run == runs.get() ? press.slownessMs : 0);
        presses.list.clear();
    }

    void act(const KeyEvent& key, std::int64_t action, std::int64_t slowness) {
        if (action == pressAndRelease || action == keyDownOnly) postKey(key);
        if (action == keyUpOnly || (action == pressAndRelease && slowness < 1)) postKey(upOf(key));
        if (action == pressAndRelease && slowness >= 1) releaseLater(upOf(key), std::min(slowness, longestSlowness));
    }

    void releaseLater(const KeyEvent& up, std::int64_t milliseconds) {
        if (releases.size() >= mostReleases) release(releases.begin());
        const auto place = releases.insert(releases.end(), {up, {}});
        place->item = Runtime::current().mainQueue().after(std::chrono::milliseconds(milliseconds),
                                                           [weak = weak_from_this(), place] {
                                                               if (const auto tool = weak.lock())
                                                                   static_cast<KeystrokeTool&>(*tool).release(place);
                                                           });
    }

    void release(std::list<Release>::iterator place) {
        place->item.cancel();
        postKey(place->up);
        releases.erase(place);
    }

    void releaseAll() {
        runs.add(1);
        while (!releases.empty()) release(releases.begin());
    }

    /// Counts the times that all keys were released. Written by the main thread.
    SharedValue<std::uint32_t> runs{0};
    /// In the order of the presses. The main thread's.
    std::list<Release> releases;
    WalkOutbox<Presses> outbox{*this, [this](Presses& presses) { pressAll(presses); }};
};

}  // namespace

const ToolDefinition keystrokeDefinition{
    PipeToolType::keystroke, "KeystrokeConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<KeystrokeTool>(); }};

}  // namespace varnolex
