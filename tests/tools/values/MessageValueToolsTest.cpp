#include "ValueProbe.hpp"

namespace varnolex::testing {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Numbers = std::vector<double>;

struct Reading {
    const char* field;
    const char* filter;
    Bytes message;
    Numbers fired;
};

TEST(DataReaderTool, readsTheWantedNumberOfTheWantedMessages) {
    const std::vector<Reading> readings{
        {"dataByte2", "any", {0x91, 60, 100}, {100}},
        {"dataByte1", "any", {0x91, 60, 100}, {60}},
        {"channel", "any", {0x91, 60, 100}, {1}},
        {"dataByte2", "any", {0xC1, 60}, {0}},
        {"dataByte1", "any", {0xF8}, {}},
        {"dataByte1", "any", {0xF0, 5, 6, 0xF7}, {5}},
        {"dataByte1", "noteOn", {0x90, 60, 0}, {60}},
        {"dataByte1", "noteOn", {0x80, 60, 0}, {}},
        {"dataByte1", "noteOn", {0x90, 60}, {}},
        {"dataByte1", "noteOff", {0x80, 60, 0}, {60}},
        {"dataByte1", "noteOff", {0x90, 60, 0}, {}},
        {"dataByte2", "cc", {0xB0, 8, 9}, {9}},
        {"dataByte2", "cc", {0xE0, 8, 9}, {}},
        {"dataByte2", "specificCC", {0xB0, 7, 9}, {9}},
        {"dataByte2", "specificCC", {0xB0, 8, 9}, {}},
        {"nonsense", "nonsense", {0xA0, 8, 9}, {9}},
    };
    ValueProbe probe(PipeToolType::dataReader);
    probe.set("specificCC", 7);
    for (const Reading& one : readings) {
        probe.set("field", one.field);
        probe.set("filter", one.filter);
        probe.taken();
        probe.send(one.message);
        EXPECT_EQ(probe.firedNow(), one.fired) << one.field << " of " << one.filter;
        ASSERT_EQ(probe.exited.size(), 1u);
        EXPECT_EQ(probe.exited[0].bytes, one.message);
        if (!one.fired.empty()) {
            EXPECT_EQ(probe.output(), one.fired.back());
        }
    }
}

class CounterTest : public ::testing::Test {
protected:
    /// What is fired by so many of the message.
    Numbers count(int times, const Bytes& message) {
        for (int time = 0; time < times; ++time) probe.send(message);
        return probe.firedNow();
    }

    ValueProbe probe{PipeToolType::counter};
};

TEST_F(CounterTest, countsNoteOnsAndWraps) {
    EXPECT_EQ(count(9, {0x90, 60, 1}), (Numbers{1, 2, 3, 4, 5, 6, 7, 0, 1}));
    EXPECT_EQ(count(1, {0x80, 60, 1}), Numbers{});
    EXPECT_EQ(count(1, {0x90, 60, 0}), Numbers{});
    EXPECT_EQ(probe.output(), 1);
    EXPECT_EQ(probe.answer({0x90, 60, 1}), std::vector<std::string>{"90 3C 01 |"});
}

TEST_F(CounterTest, stopsAtTheLimitsWithoutWrappingAndStillFires) {
    probe.set("wrapMode", false);
    probe.set("step", 2.5);
    EXPECT_EQ(count(4, {0x90, 60, 1}), (Numbers{2.5, 5, 7, 7}));
    probe.set("step", -4.0);
    EXPECT_EQ(count(3, {0x90, 60, 1}), (Numbers{3, 0, 0}));
}

TEST_F(CounterTest, wrapsToTheTopWhenItCountsDown) {
    probe.set("step", -1.0);
    EXPECT_EQ(count(2, {0x90, 60, 1}), (Numbers{7, 6}));
}

TEST_F(CounterTest, countsWhatItsTriggerSays) {
    probe.set("maxValue", 100.0);
    probe.set("triggerType", "noteOff");
    EXPECT_EQ(count(1, {0x80, 60, 1}), Numbers{1});
    EXPECT_EQ(count(1, {0x90, 60, 0}), Numbers{2});
    EXPECT_EQ(count(1, {0x90, 60, 1}), Numbers{});
    probe.set("triggerType", "cc");
    probe.set("triggerCC", 20);
    probe.set("triggerThreshold", 64);
    EXPECT_EQ(count(1, {0xB0, 20, 64}), Numbers{3});
    EXPECT_EQ(count(1, {0xB0, 20, 63}), Numbers{});
    EXPECT_EQ(count(1, {0xB0, 21, 64}), Numbers{});
    probe.set("triggerType", "any");
    EXPECT_EQ(count(1, {0xC0, 1}), Numbers{4});
    EXPECT_EQ(count(1, {0xF8}), Numbers{});
    probe.set("triggerType", "velocity");
    EXPECT_EQ(count(1, {0xC0, 1}), Numbers{});
    EXPECT_EQ(count(1, {0x90, 1, 1}), Numbers{5});
}

TEST_F(CounterTest, goesBackOnTheResetNoteWithoutCountingIt) {
    probe.set("minValue", 2.0);
    probe.set("resetEnabled", true);
    probe.set("resetNote", 36);
    EXPECT_EQ(count(3, {0x90, 60, 1}), (Numbers{7, 2, 3}));
    EXPECT_EQ(count(1, {0x90, 36, 1}), Numbers{2});
    probe.set("triggerType", "noteOff");
    EXPECT_EQ(count(1, {0x90, 36, 0}), Numbers{2});
    EXPECT_EQ(count(1, {0x80, 36, 0}), Numbers{3});
}

}  // namespace
}  // namespace varnolex::testing
