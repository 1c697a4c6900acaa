#include "support/AllocationTrap.hpp"
#include "tools/Dialogue.hpp"

namespace varnolex::testing {
namespace {

using namespace std::chrono_literals;

class CountingExit final : public ChainExit {
public:
    explicit CountingExit(std::size_t& total) : count(total) {}
    void deliver(const ChainMessage&) noexcept override { ++count; }

private:
    std::size_t& count;
};

class ClockToolAllocation : public ::testing::TestWithParam<PipeToolType> {};

TEST_P(ClockToolAllocation, staysAwayFromTheHeapInTimersToo) {
    std::size_t left = 0;
    ChainProbe probe(GetParam());
    probe.chain->setMessageDidExit(std::make_unique<CountingExit>(left));
    if (GetParam() == PipeToolType::midiGenerator) {
        const ParameterRecord lasting{{{}, {}, {}, {}, {}, std::int64_t{25}}};
        probe.set("steps", std::vector{lasting, lasting});
        probe.set("repeatMode", 2);
        probe.set("delayMs", 10);
    }
    if (Transport* transport = probe.tool->transport()) transport->startPlaying();
    const auto play = [&] {
        for (int count = 0; count < 100; ++count) {
            const ShortMessage on = ShortMessage::noteOn(0, static_cast<std::uint8_t>(count % 7 + 60), 100);
            if (count % 10 == 0) probe.chain->send(ChainMessage{}.carrying(on));
            const ShortMessage tick(0xF8);
            probe.chain->send(ChainMessage{}.carrying(tick));
            probe.runtime.runFor(20ms);
        }
    };
    play();
    left = 0;
    const AllocationTrap trap;
    play();
    EXPECT_EQ(trap.count(), 0u);
    EXPECT_GT(left, 100u);
}

INSTANTIATE_TEST_SUITE_P(All, ClockToolAllocation,
                         ::testing::Values(PipeToolType::timingClock, PipeToolType::arp, PipeToolType::lfo,
                                           PipeToolType::midiGenerator));

}  // namespace
}  // namespace varnolex::testing
