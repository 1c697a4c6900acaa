#include <algorithm>
#include <thread>

#include "platform/RealRuntime.hpp"
#include "tools/Dialogue.hpp"

namespace varnolex::testing {
namespace {

/// Counts what leaves, whole or torn; touched inside walks only. The data bytes of the player's System Exclusive
/// messages are all alike.
struct CheckingExit final : ChainExit {
    explicit CheckingExit(std::array<std::uint64_t, 2>& counts) : wholeAndTorn(counts) {}

    void deliver(const ChainMessage& message) noexcept override {
        const std::span bytes(message.bytes, message.length);
        const bool isTorn =
            message.length > 3 && std::ranges::count(bytes, bytes[1]) != std::ptrdiff_t(bytes.size()) - 2;
        ++wholeAndTorn[isTorn];
    }

    std::array<std::uint64_t, 2>& wholeAndTorn;
};

class TimingToolThreads : public ::testing::TestWithParam<PipeToolType> {};

// An input thread plays, delayed messages come due, and the main thread turns, switches and stops what it can.
TEST_P(TimingToolThreads, playsOnWhileTheMainThreadChangesEverything) {
    std::array<std::uint64_t, 2> left{};
    RealRuntime runtime;
    const RuntimeScope scope(runtime);
    const auto tool = makeTool(GetParam());
    const auto chain = ToolChain::make({tool}, "threads");
    chain->setMessageDidExit(std::make_unique<CheckingExit>(left));

    SharedValue<bool> isOver{false};
    SharedValue<std::uint64_t> rounds{0};
    std::jthread player([&] {
        while (!isOver.get()) {
            const std::uint64_t round = rounds.add(1);
            const auto number = static_cast<std::uint8_t>(round % 128);
            std::array<std::uint8_t, 60> exclusive;
            exclusive.fill(number);
            exclusive.front() = 0xF0;
            exclusive.back() = 0xF7;
            chain->send(ChainMessage{}.carrying(exclusive));
            for (const ShortMessage& message :
                 {ShortMessage::noteOn(0, number, 100), ShortMessage(0xF8), ShortMessage::noteOff(0, number),
                  ShortMessage::controller(0, number, static_cast<std::uint8_t>(round / 128 % 128))})
                chain->send(ChainMessage{}.carrying(message));
        }
    });
    for (std::int64_t change = 0; change < 400 || rounds.get() < 400; ++change) {
        for (const Parameter& row : tool->definition().parameters)
            if (row.shape == ParameterShape::integer) setParameter(*tool, row.key, change % 5);
        for (const ValuePort& port : tool->valuePorts())
            tool->setLiveValue(change % 4 < 2 ? std::optional<double>() : static_cast<double>(change % 3), port.id);
        if (change % 8 == 0) tool->setEnabled(change % 16 != 0);
        if (change % 32 == 0) tool->stop();
        runtime.pollMain();
    }
    isOver.set(true);
    player.join();
    tool->stop();
    chain->enter([&] {
        EXPECT_GT(left[0], 100U);
        EXPECT_EQ(left[1], 0U);
    });
}

INSTANTIATE_TEST_SUITE_P(All, TimingToolThreads,
                         ::testing::Values(PipeToolType::delay, PipeToolType::duplicate, PipeToolType::durationTool,
                                           PipeToolType::humanize, PipeToolType::strum, PipeToolType::quantize,
                                           PipeToolType::mpeDistributor, PipeToolType::smooth,
                                           PipeToolType::nrpnAssembler));

}  // namespace
}  // namespace varnolex::testing
