#include <gtest/gtest.h>

#include "support/ChainProbe.hpp"
#include "tools/devices/KeyboardTool.hpp"
#include "tools/devices/MessageListTool.hpp"
#include "tools/devices/PanicTool.hpp"

namespace varnolex::testing {
namespace {

using Texts = std::vector<std::string>;

/// What a panic sends: 32 messages, one batch.
Texts resetTexts() {
    Texts texts;
    for (char channel : std::string("0123456789ABCDEF")) {
        texts.push_back(std::string("B") + channel + " 7B 00");
        texts.push_back(std::string("B") + channel + " 40 00");
    }
    texts.back() += " |";
    return texts;
}

TEST(PanicTool, firesOnItsControllerAlone) {
    ChainProbe probe(PipeToolType::panic);
    EXPECT_EQ(probe.answer({0xB0, 0, 127}), Texts{"B0 00 7F |"}) << "no controller is chosen in a new tool";
    probe.set("triggerCC", 20);
    EXPECT_EQ(probe.answer({0xB0, 20, 63}), Texts{"B0 14 3F |"});
    EXPECT_EQ(probe.answer({0x90, 20, 100}), Texts{"90 14 64 |"});
    EXPECT_EQ(probe.answer({0xB5, 20, 64}, false), resetTexts());
    probe.tool->setLiveValue(20.6, "triggerCC");
    probe.tool->setLiveValue(300, "triggerValue");
    EXPECT_EQ(probe.answer({0xB0, 21, 126}), Texts{"B0 15 7E |"});
    EXPECT_EQ(probe.answer({0xB0, 21, 127}), resetTexts());
    probe.set("triggerCC", -1);
    probe.tool->setLiveValue(std::nullopt, "triggerCC");
    EXPECT_EQ(probe.answer({0xB0, 20, 127}), Texts{"B0 14 7F |"});
}

TEST(PanicTool, resetsAtThePressOfItsButton) {
    ChainProbe probe(PipeToolType::panic);
    auto& tool = static_cast<PanicTool&>(*probe.tool);
    tool.panic();
    EXPECT_EQ(probe.taken(), resetTexts()) << "before any message";
    probe.send({0x90, 60, 100}, true, 7 * ticksPerSecond);
    probe.taken();
    tool.panic();
    for (const Exited& one : probe.exited) EXPECT_EQ(one.timeStamp, 7 * ticksPerSecond);
    EXPECT_EQ(probe.taken(), resetTexts());
    PanicTool alone;
    alone.panic();
}

TEST(KeyboardTool, playsAndShowsWhatIsPressed) {
    ChainProbe probe(PipeToolType::keyboard);
    auto& tool = static_cast<KeyboardTool&>(*probe.tool);
    probe.set("outputChannel", 3);
    probe.set("octaveOffset", -1);
    tool.noteOn(60);
    EXPECT_EQ(probe.taken(), Texts{"93 30 64 |"});
    EXPECT_EQ(tool.pressedKeys(), KeyboardTool::Keys().set(48));
    tool.noteOff(60);
    EXPECT_EQ(probe.taken(), Texts{"83 30 00 |"});
    EXPECT_TRUE(tool.pressedKeys().none());

    for (const std::int64_t octave : {-6, 6, std::numeric_limits<int>::max()}) {
        probe.set("octaveOffset", ParameterValue(octave));
        tool.noteOn(60);
        tool.noteOff(60);
        EXPECT_EQ(probe.taken(), Texts{}) << octave;
    }
    probe.send({0x90, 60, 1});
    probe.send({0x90, 62, 1});
    probe.send({0x91, 60, 0});
    EXPECT_EQ(tool.pressedKeys(), KeyboardTool::Keys().set(62));
    EXPECT_EQ(probe.taken(), (Texts{"90 3C 01 |", "90 3E 01 |", "91 3C 00 |"}));
}

TEST(MessageListTool, keepsTheNewestAndCountsThemAll) {
    ChainProbe probe(PipeToolType::messageList);
    auto& tool = static_cast<MessageListTool&>(*probe.tool);
    for (int count = 0; count < 1000; ++count)
        EXPECT_EQ(probe.answer({0xB0, 7, static_cast<std::uint8_t>(count % 128)}).size(), 1u);
    EXPECT_TRUE(tool.capturedMessages().empty());
    EXPECT_EQ(probe.runtime.pendingItems(), 1u) << "one flush, however many have come";
    probe.runtime.settle();
    ASSERT_EQ(tool.capturedMessages().size(), 200u);
    EXPECT_EQ(tool.totalCapturedEver(), 1000u);
    EXPECT_EQ(tool.capturedMessages().back()->timeStamp, probe.runtime.hostTime());

    probe.send({0xFE});
    tool.clear();
    EXPECT_EQ(tool.totalCapturedEver(), 0u);
    probe.runtime.settle();
    EXPECT_EQ(tool.totalCapturedEver(), 1u) << "what was on its way still arrives";
    probe.set("maxCapture", -5);
    probe.send({0xFE});
    probe.runtime.settle();
    EXPECT_TRUE(tool.capturedMessages().empty());
}

TEST(MessageListTool, typesWhatPasses) {
    ChainProbe probe(PipeToolType::messageList);
    auto& tool = static_cast<MessageListTool&>(*probe.tool);
    const std::vector<std::pair<std::vector<std::uint8_t>, MessageClass>> rows{
        {{0x90, 60, 1}, MessageClass::voice},
        {{0xC0, 5}, MessageClass::voice},
        {{0xF8}, MessageClass::systemRealTime},
        {{0xF0, 1, 2, 0xF7}, MessageClass::systemExclusive},
        {{0xF0, 1, 2}, MessageClass::systemExclusive},
        {{0xF2, 1, 2}, MessageClass::systemCommon},
        {{0xF5, 1}, MessageClass::invalid},
    };
    for (const auto& [bytes, kind] : rows) probe.send(bytes);
    probe.sendEmpty(true);
    probe.runtime.settle();
    ASSERT_EQ(tool.capturedMessages().size(), rows.size());
    for (std::size_t index = 0; index < rows.size(); ++index)
        EXPECT_EQ(tool.capturedMessages()[index]->messageClass(), rows[index].second) << index;
}

TEST(PassedMessages, keepTheNewestInOrder) {
    ChainProbe probe(PipeToolType::messageList);
    for (const std::size_t number : {std::size_t{3}, PassedMessages::capacity, 2 * PassedMessages::capacity + 5}) {
        PassedMessages passed;
        for (std::size_t time = 1; time <= number; ++time) {
            // Long and short ones in each other's places.
            const std::array<std::uint8_t, 5> bytes{0xF0, 1, 2, 3, 0xF7};
            const std::size_t length = (time / 7 + time / PassedMessages::capacity) % 3 == 0 ? bytes.size() : 2;
            passed.add({bytes.data(), length, time, true});
        }
        EXPECT_EQ(passed.total(), number);
        for (const std::size_t most : {std::size_t{2}, 2 * PassedMessages::capacity}) {
            PassedMessages copy = passed;
            MessageList list;
            copy.takeNewest(most, list);
            ASSERT_EQ(list.size(), std::min({number, most, PassedMessages::capacity}));
            for (std::size_t index = 0; index < list.size(); ++index)
                ASSERT_EQ(list[index]->timeStamp, number - list.size() + index + 1);
            EXPECT_EQ(copy.total(), 0u);
        }
    }
}

}  // namespace
}  // namespace varnolex::testing
