#include <thread>

#include "platform/RealRuntime.hpp"
#include "tools/Dialogue.hpp"

namespace varnolex::testing {
namespace {

/// Counts what leaves; touched inside walks only, and read when all threads have ended.
class CountingExit final : public ChainExit {
public:
    explicit CountingExit(std::uint64_t& total) : count(total) {}
    void deliver(const ChainMessage&) noexcept override { ++count; }

private:
    std::uint64_t& count;
};

class ClockToolThreads : public ::testing::TestWithParam<PipeToolType> {};

// An input thread plays, the tool's timers run, and the main thread turns everything that it can turn.
TEST_P(ClockToolThreads, letsTheMainThreadChangeEverythingWhileItPlays) {
    std::uint64_t left = 0;
    RealRuntime runtime;
    const RuntimeScope scope(runtime);
    const auto tool = makeTool(GetParam());
    const auto chain = ToolChain::make({tool}, "threads");
    chain->setMessageDidExit(std::make_unique<CountingExit>(left));
    tool->chainWasWired(0);

    SharedValue<bool> isOver{false};
    SharedValue<std::uint64_t> rounds{0};
    std::jthread player([&] {
        while (!isOver.get()) {
            const std::uint8_t note = 60 + rounds.get() % 5;
            for (const ShortMessage& message :
                 {ShortMessage::noteOn(0, note, 100), ShortMessage(0xF8), ShortMessage(0xF8),
                  ShortMessage::noteOff(0, static_cast<std::uint8_t>(note - 1))})
                chain->send(ChainMessage{}.carrying(message));
            rounds.add(1);
        }
    });
    const auto setIfThere = [&](std::string_view key, ParameterValue value) {
        if (findParameter(tool->definition(), key)) setParameter(*tool, key, std::move(value));
    };
    for (std::int64_t change = 0; change < 400 || rounds.get() < 400; ++change) {
        setIfThere("pattern", change % 6);
        setIfThere("octaveRange", change % 4);
        setIfThere("ticksPerStep", std::int64_t{2});
        setIfThere("latch", change % 32 < 8);
        setIfThere("syncToMidiClock", change % 3 == 0);
        setIfThere("waveform", change % 6);
        setIfThere("repeatMode", std::int64_t{2});
        setIfThere("delayMs", change % 2);
        setIfThere("steps", std::vector<ParameterRecord>(static_cast<std::size_t>(change % 4)));
        setIfThere("triggerMode", change % 3);
        setIfThere("bpm", static_cast<double>(900 + change % 90));
        tool->setLiveValue(change % 2 == 0 ? std::optional<double>() : 50.0, "gatePercent");
        if (change % 8 == 0) tool->setEnabled(change % 16 != 0);
        if (Transport* transport = tool->transport(); transport && change % 5 == 0)
            change % 2 == 0 ? transport->stopPlaying() : transport->startPlaying();
        if (change % 64 == 0) {
            tool->stop();
            tool->chainWasWired(0);
        }
        runtime.pollMain();
    }
    isOver.set(true);
    player.join();
    tool->stop();
    std::uint64_t settled = 0;
    chain->enter([&] { settled = left; });
    EXPECT_GT(settled, 0u);
}

INSTANTIATE_TEST_SUITE_P(All, ClockToolThreads,
                         ::testing::Values(PipeToolType::timingClock, PipeToolType::arp, PipeToolType::lfo,
                                           PipeToolType::midiGenerator));

}  // namespace
}  // namespace varnolex::testing
