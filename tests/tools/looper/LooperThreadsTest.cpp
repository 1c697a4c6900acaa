#include <thread>

#include "platform/RealRuntime.hpp"
#include "platform/audio/SystemAudioOutput.hpp"
#include "tools/looper/ClickAudioEngine.hpp"
#include "tools/looper/LooperProbe.hpp"

namespace varnolex::testing {
namespace {

/// Keeps account of what sounds; touched inside walks only.
class BalanceExit final : public ChainExit {
public:
    explicit BalanceExit(std::array<int, 2048>& soundingNotes) : sounding(soundingNotes) {}
    void deliver(const ChainMessage& message) noexcept override {
        if (message.isNoteOn()) ++sounding[message.noteKey()];
        if (message.isNoteEnd()) --sounding[message.noteKey()];
    }

private:
    std::array<int, 2048>& sounding;
};

// An input thread plays, note ends come from a queue, and the main thread presses every button.
TEST(LooperThreads, leaveNoNoteBehindWhateverIsPressed) {
    std::array<int, 2048> sounding{};
    RealRuntime runtime;
    const RuntimeScope scope(runtime);
    ClickAudioEngine engine(std::make_unique<SystemAudioOutput>([] { return nullptr; }));
    const ClickAudioEngineScope engineScope(engine);
    const auto looper = std::make_shared<LooperTool>();
    const auto chain = ToolChain::make({looper}, "threads");
    chain->setMessageDidExit(std::make_unique<BalanceExit>(sounding));
    looper->change([](LooperSettings& next) { next.inputMonitor = 1; });

    SharedValue<bool> isOver{false};
    SharedValue<std::uint64_t> rounds{0};
    std::jthread player([&] {
        while (!isOver.get()) {
            const auto note = static_cast<std::uint8_t>(60 + rounds.add(1) % 7);
            for (const ShortMessage& message : {ShortMessage::noteOn(0, note, 100), ShortMessage(0xF8),
                                                ShortMessage::noteOff(0, note), ShortMessage::controller(0, 1, note)})
                chain->send(ChainMessage{}.carrying(message));
        }
    });
    for (std::uint32_t press = 0; press < 2000 || rounds.get() < 4000; ++press) {
        looper->requestAction(static_cast<LooperAction>(runtime.randomInteger(0, press % 16 == 0 ? 4 : 3)));
        if (press % 5 == 0) looper->undo();
        if (press % 7 == 0) looper->redo();
        if (press % 11 == 0) looper->halveLoop();
        if (press % 13 == 0) looper->doubleLoop();
        if (press % 50 == 0) looper->importMIDIFile(looper->exportMIDIFile());
        looper->change([&](LooperSettings& next) {
            next.launchQuantize = press % 3;
            next.reverse = press % 4 == 0;
            next.metronome = press % 2 == 0;
            next.speed = press % 3;
        });
        runtime.pollMain();
    }
    isOver.set(true);
    player.join();
    looper->stop();
    chain->enter([&] { EXPECT_EQ(sounding, (std::array<int, 2048>{})); });
}

}  // namespace
}  // namespace varnolex::testing
