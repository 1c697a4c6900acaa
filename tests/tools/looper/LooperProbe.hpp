#pragma once

#include <string>
#include <vector>

#include "tools/Dialogue.hpp"
#include "tools/looper/LooperTool.hpp"

namespace varnolex::testing {

/// A looper with a clock of 20 ms a tick.
class LooperProbe : public ChainProbe {
public:
    LooperProbe() : ChainProbe(PipeToolType::looper) {}

    LooperTool& looper() { return static_cast<LooperTool&>(*tool); }

    void tick(int count) {
        for (int index = 0; index < count; ++index) {
            send({0xF8});
            runtime.runFor(std::chrono::milliseconds(20));
        }
    }

    void press(int note, int velocity = 100) {
        send({0x90, static_cast<std::uint8_t>(note), static_cast<std::uint8_t>(velocity)});
    }
    void release(int note) { send({0x80, static_cast<std::uint8_t>(note), 0}); }
    void turn(int number, int value) {
        send({0xB0, static_cast<std::uint8_t>(number), static_cast<std::uint8_t>(value)});
    }

    LooperReadOuts shown() {
        runtime.settle();
        return looper().readOuts();
    }
    LooperTransport transport() { return shown().transport; }

    /// Records a loop of this many beats with notes of six ticks that begin at the given ticks, the first with note 60,
    /// the next with 61 and so on, and plays it from its beginning.
    void playLoop(int beats, const std::vector<int>& ticks) {
        looper().requestAction(LooperAction::record);
        for (int now = 0; now < 24 * beats; ++now) {
            for (std::size_t index = 0; index < ticks.size(); ++index) {
                if (now == ticks[index]) press(60 + static_cast<int>(index));
                if (now == ticks[index] + 6) release(60 + static_cast<int>(index));
            }
            tick(1);
        }
        looper().requestAction(LooperAction::play);
        exited.clear();
    }

    /// Lets the clock go on and tells the notes that begin, as "tick:note", the tick counted from 1.
    std::string heard(int ticks) {
        std::string text;
        for (int now = 1; now <= ticks; ++now) {
            exited.clear();
            tick(1);
            for (const Exited& one : exited)
                if (one.bytes.size() == 3 && one.bytes[0] >> 4 == 9)
                    text += (text.empty() ? "" : " ") + std::to_string(now) + ":" + std::to_string(one.bytes[1]);
        }
        exited.clear();
        return text;
    }
};

}  // namespace varnolex::testing
