#include <algorithm>

#include "conformance/EveryKind.hpp"
#include "support/AllocationTrap.hpp"

namespace varnolex::testing {
namespace {

using namespace std::chrono_literals;

class StreamConformance : public EveryKind {
protected:
    using MakeMessage = std::vector<std::uint8_t> (*)(Draws&);

    /// Sends a stream while settings, live values and the tool's switch change and time goes on. Returns everything
    /// that has left.
    std::vector<Exited> exercise(std::uint64_t seed, MakeMessage make) const {
        ChainProbe probe(type());
        SeededDraws draws(seed);
        probe.tool->start(0);
        std::vector<Exited> left;
        for (int count = 0; count < 600; ++count) {
            if (draws.oneIn(10)) drawSettings(*probe.tool, draws);
            if (draws.oneIn(10)) drawLiveValues(*probe.tool, draws);
            if (draws.oneIn(60)) probe.tool->setEnabled(!probe.tool->isEnabled());
            if (Transport* transport = probe.tool->transport(); transport && draws.oneIn(40))
                draws.oneIn(3) ? transport->stopPlaying() : transport->startPlaying();
            sendOne(probe, draws, make);
            std::ranges::move(probe.exited, std::back_inserter(left));
            probe.exited.clear();
            if (draws.oneIn(3)) probe.runtime.runFor(Nanoseconds(draws.below(40'000'000)));
        }
        probe.tool->stop();
        probe.runtime.settle();
        EXPECT_EQ(probe.runtime.pendingItems(), 0u) << "after the stop";
        std::ranges::move(probe.exited, std::back_inserter(left));
        return left;
    }

private:
    void sendOne(ChainProbe& probe, Draws& draws, MakeMessage make) const {
        const bool isLast = draws.oneIn(2);
        const std::vector<std::uint8_t> bytes = make(draws);
        if (draws.oneIn(20))
            probe.sendEmpty(isLast);
        else
            probe.send(bytes, isLast, draws.below(3) * ticksPerSecond);
        if (!isLast || !hasOutput() || mayDelayBatchEnd(type(), bytes, !probe.exited.empty())) return;
        EXPECT_TRUE(std::ranges::any_of(probe.exited, &Exited::isLastInBatch)) << "the batch end is lost";
    }
};

/// Ends a chain without keeping anything.
class DeafExit final : public ChainExit {
public:
    void deliver(const ChainMessage&) noexcept override {}
};

TEST_P(StreamConformance, makesWholeMessagesOfWholeOnes) {
    if (spellsOutMessages(type())) return;
    for (const std::uint64_t seed : {1, 2, 3, 4})
        for (const Exited& one : exercise(seed, drawMessage))
            ASSERT_TRUE(one.bytes.empty() || isWholeMessage(one.bytes)) << textOf(one) << " with seed " << seed;
}

TEST_P(StreamConformance, survivesAnyBytes) {
    for (const std::uint64_t seed : {5, 6, 7, 8}) exercise(seed, drawJunk);
}

TEST_P(StreamConformance, doesTheSameAgainWithTheSameSeed) {
    const auto textsOf = [](const std::vector<Exited>& left) {
        std::vector<std::string> texts;
        for (const Exited& one : left) texts.push_back(std::to_string(one.at) + ": " + textOf(one));
        return texts;
    };
    EXPECT_EQ(textsOf(exercise(9, drawMessage)), textsOf(exercise(9, drawMessage)));
}

TEST_P(StreamConformance, handsOnAnEmptyCarrier) {
    if (!hasOutput()) return;
    ChainProbe probe(type());
    probe.sendEmpty(true);
    EXPECT_EQ(probe.taken(), std::vector<std::string>{"- |"});
    probe.sendEmpty(false);
    EXPECT_EQ(probe.taken(), std::vector<std::string>{});
}

TEST_P(StreamConformance, isSteppedOverWhileItIsDisabled) {
    ChainProbe probe(type());
    SeededDraws draws(12);
    drawSettings(*probe.tool, draws);
    probe.tool->setEnabled(false);
    probe.taken();
    for (int count = 0; count < 100; ++count) {
        const Exited sent{drawMessage(draws), draws.oneIn(2), 0, 0};
        EXPECT_EQ(probe.answer(sent.bytes, sent.isLastInBatch), std::vector<std::string>{textOf(sent)});
    }
}

TEST_P(StreamConformance, comesToRestWhenItIsDisabled) {
    ChainProbe probe(type());
    SeededDraws draws(13);
    if (Transport* transport = probe.tool->transport()) transport->startPlaying();
    for (int count = 0; count < 200; ++count) {
        probe.send(drawMessage(draws));
        probe.runtime.runFor(5ms);
    }
    probe.tool->setEnabled(false);
    probe.runtime.runFor(30s);
    EXPECT_EQ(probe.runtime.pendingItems(), 0u);
}

TEST_P(StreamConformance, allocatesNothingInSteadyState) {
    for (const std::uint64_t seed : {0, 14, 15, 16, 17}) {
        ChainProbe probe(type());
        probe.chain->setMessageDidExit(std::make_unique<DeafExit>());
        SeededDraws draws(seed);
        if (seed != 0) drawSettings(*probe.tool, draws);
        std::vector<std::vector<std::uint8_t>> stream;
        for (int count = 0; count < 300; ++count) stream.push_back(drawMessage(draws));

        std::size_t allocations = 0;
        for (int round = 0; round < 3; ++round) {
            for (const auto& bytes : stream) {
                const AllocationTrap trap;
                probe.chain->send({bytes.data(), bytes.size(), probe.runtime.hostTime(), true});
                if (round > 0) allocations += trap.count();
                probe.runtime.runFor(1ms);
            }
        }
        EXPECT_EQ(allocations, 0u) << "with seed " << seed;
    }
}

INSTANTIATE_TEST_SUITE_P(All, StreamConformance, ::testing::ValuesIn(allToolKinds()), nameOfKind);

}  // namespace
}  // namespace varnolex::testing
