#include <gmock/gmock.h>

#include "engine/MIDILearnCoordinator.hpp"
#include "platform/VirtualRuntime.hpp"

namespace varnolex::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using enum MIDILearnCoordinator::LearnType;

class MIDILearnCoordinatorTest : public ::testing::Test {
protected:
    void learn(MIDILearnCoordinator::LearnType type, std::string id = "knob") {
        coordinator.startLearning(type, std::move(id), [this](std::uint8_t value) { learned.push_back(value); });
    }

    void hear(const std::vector<std::uint8_t>& bytes) {
        coordinator.handleLearnMessage(bytes.data(), bytes.size());
        runtime.settle();
    }

    VirtualRuntime runtime;
    RuntimeScope scope{runtime};
    MIDILearnCoordinator coordinator;
    std::vector<int> learned;
};

TEST_F(MIDILearnCoordinatorTest, takesFromAMessageWhatItWaitsFor) {
    struct Case {
        MIDILearnCoordinator::LearnType type;
        std::vector<std::uint8_t> message;
        std::optional<int> value;
    };
    const std::vector<Case> cases{
        {ccNumber, {0xB5, 7, 9}, 7},
        {ccNumber, {0xB5, 7}, 7},
        {ccNumber, {0xB5}, {}},
        {ccNumber, {0x90, 7, 9}, {}},
        {ccValue, {0xB5, 7, 9}, 9},
        {ccValue, {0xB5, 7}, {}},
        {noteNumber, {0x95, 60, 0}, 60},
        {noteNumber, {0x85, 60, 0}, {}},
        {noteVelocity, {0x95, 60, 99}, 99},
        {noteVelocity, {0x95, 60}, {}},
        {channel, {0xD5, 1}, 5},
        {channel, {0xF8}, {}},
        {channel, {0xFE}, {}},
        {channel, {0xF0, 1, 0xF7}, {}},
        {channel, {0x15, 1}, {}},
        {channel, {}, {}},
    };
    for (const Case& one : cases) {
        learned.clear();
        learn(one.type);
        hear(one.message);
        EXPECT_EQ(learned.empty() ? std::optional<int>() : learned.front(), one.value)
            << MIDILearnCoordinator::nameOf(one.type);
        // A message that doesn't fit leaves the coordinator waiting.
        EXPECT_EQ(coordinator.isLearning(), !one.value);
        EXPECT_EQ(coordinator.activeLearnID().has_value(), !one.value);
        coordinator.cancelLearning();
    }
}

TEST_F(MIDILearnCoordinatorTest, learnsForOneControlAtATime) {
    bool wasCalled = false;
    coordinator.startLearning(channel, "first", [&](std::uint8_t) { wasCalled = true; });
    learn(ccNumber, "second");
    EXPECT_EQ(coordinator.activeLearnID(), "second");
    EXPECT_EQ(coordinator.activeLearnType(), ccNumber);
    hear({0xB0, 1, 2});
    hear({0xB0, 3, 4});
    EXPECT_THAT(learned, ElementsAre(1));
    EXPECT_FALSE(wasCalled);
}

TEST_F(MIDILearnCoordinatorTest, learnsNothingOnceItIsCancelled) {
    learn(ccNumber);
    const std::vector<std::uint8_t> bytes{0xB0, 1, 2};
    coordinator.handleLearnMessage(bytes.data(), bytes.size());
    coordinator.cancelLearning();
    runtime.settle();
    EXPECT_THAT(learned, IsEmpty());
    EXPECT_EQ(coordinator.activeLearnType(), std::nullopt);
}

TEST_F(MIDILearnCoordinatorTest, takesTheFirstOfSeveralMessagesOfOneMoment) {
    learn(ccNumber);
    for (const std::uint8_t number : {1, 2, 3}) {
        const std::vector<std::uint8_t> bytes{0xB0, number, 0};
        coordinator.handleLearnMessage(bytes.data(), bytes.size());
    }
    runtime.settle();
    EXPECT_THAT(learned, ElementsAre(1));
}

}  // namespace
}  // namespace varnolex::testing
