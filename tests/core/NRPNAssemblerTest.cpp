#include "CoreFixture.hpp"
#include "core/MessageParser.hpp"
#include "core/NRPNAssembler.hpp"
#include "core/RPNDetector.hpp"
#include "support/RecordedEvents.hpp"

namespace varnolex {
namespace {

using Forms = std::vector<std::string>;

class NRPNAssemblerTest : public CoreTest {
protected:
    NRPNAssemblerTest() {
        assembler.onDelayedMessages = [this](const MessageList& messages) { delayed = shortForms(messages); };
    }

    Forms process(std::string_view bytes) {
        const auto run = hex(bytes);
        return shortForms(assembler.process(MessageParser().parse(run.data(), run.size(), 5)));
    }

    NRPNAssembler assembler;
    Forms delayed;
};

TEST_F(NRPNAssemblerTest, FoldsSequencesAndLetsTheRestPass) {
    const struct {
        const char* what;
        const char* bytes;
        Forms expected;
        Forms flushed;
    } cases[]{
        {"whole NRPN", "B0 63 01 62 02 06 03 26 04", {"nrpn 1 130=388 of 4"}, {}},
        {"whole RPN", "BF 65 00 64 06 06 05 26 00", {"rpn 16 6=640 of 4"}, {}},
        {"coarse value only", "B0 63 01 62 02 06 03", {}, {"nrpn 1 130=3 of 3"}},
        {"parameter only", "B0 65 01 64 02", {}, {"voice B0 65 01", "voice B0 64 02"}},
        {"another controller lets go",
         "B0 63 01 62 02 07 40",
         {"voice B0 63 01", "voice B0 62 02", "voice B0 07 40"},
         {}},
        {"another controller ends a coarse value",
         "B0 63 01 62 02 06 03 07 40",
         {"nrpn 1 130=3 of 3", "voice B0 07 40"},
         {}},
        {"out of sequence",
         "B0 62 01 64 01 06 02 26 03",
         {"voice B0 62 01", "voice B0 64 01", "voice B0 06 02", "voice B0 26 03"},
         {}},
        {"mixed kinds", "B0 63 01 64 02", {"voice B0 63 01", "voice B0 64 02"}, {}},
        {"a note passes ahead",
         "B0 63 01 62 02 90 3C 40 B0 06 03 26 04",
         {"voice 90 3C 40", "nrpn 1 130=388 of 4"},
         {}},
        {"channels are apart",
         "B0 63 01 B1 63 05 B0 62 02 B1 62 06 B0 06 03 B1 06 07 B0 26 04 B1 26 08",
         {"nrpn 1 130=388 of 4", "nrpn 2 646=904 of 4"},
         {}},
        {"a new sequence closes the old",
         "B0 63 01 62 02 65 00 64 01 06 02 26 00",
         {"voice B0 63 01", "voice B0 62 02", "rpn 1 1=256 of 4"},
         {}},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(process(one.bytes), one.expected) << one.what;
        EXPECT_EQ(shortForms(assembler.flushPending()), one.flushed) << one.what;
    }
    runtime.runFor(std::chrono::seconds(1));
    EXPECT_TRUE(delayed.empty());
}

TEST_F(NRPNAssemblerTest, LetsALoneFirstControllerGoAfterItsTime) {
    EXPECT_EQ(process("B0 63 01"), Forms{});
    EXPECT_TRUE(assembler.flushPending().empty());
    runtime.runFor(NRPNAssembler::firstStepTimeOut - Nanoseconds(1));
    EXPECT_TRUE(delayed.empty());
    runtime.runFor(Nanoseconds(1));
    EXPECT_EQ(delayed, Forms{"voice B0 63 01"});
}

TEST_F(NRPNAssemblerTest, RecordsTheSequencesThatItGivesUp) {
    RecordedEvents events(runtime);
    process("B3 63 01 B5 65 01 B5 64 02");
    assembler.flushPending();
    EXPECT_EQ(events.take(), Forms{"19: 5 1 0 0 0"});
    runtime.runFor(NRPNAssembler::firstStepTimeOut);
    EXPECT_EQ(events.take(), Forms{"19: 3 0 0 0 0"});
    process("B0 63 01 62 02 06 03 26 04");
    EXPECT_EQ(events.take(), Forms{});
}

TEST_F(NRPNAssemblerTest, LeavesNoTimerBehind) {
    {
        NRPNAssembler shortLived;
        const auto run = hex("B0 63 01 B1 65 01");
        shortLived.process(MessageParser().parse(run.data(), run.size(), 5));
    }
    runtime.runFor(std::chrono::seconds(1));
    EXPECT_EQ(runtime.pendingItems(), 0u);
}

TEST_F(NRPNAssemblerTest, TakesTimeAndEndpointOfTheFirstController) {
    MessageList controllers;
    for (std::uint8_t index = 0; const std::uint8_t controller : {99, 98, 6, 38})
        controllers.push_back(makeMessage<VoiceMessage>(10 + index++, 0xB3, controller, 1, SharedName("Knobs")));
    const MessageList folded = assembler.process(controllers);
    ASSERT_EQ(folded.size(), 1u);
    EXPECT_EQ(folded[0]->timeStamp, 10u);
    EXPECT_EQ(folded[0]->statusByte, 0xB3);
    EXPECT_EQ(folded[0]->originatingEndpointName.view(), "Knobs");
    EXPECT_EQ(folded[0]->messageType(), MessageTypeMask::cc);
    EXPECT_EQ(folded[0]->as<NRPNMessage>()->rawMessages()[3].get(), controllers[3].get());
}

TEST(RPNDetectorTest, AcceptsOnlyACompleteConfiguration) {
    using Zone = std::optional<RPNDetector::Zone>;
    const Zone none;
    const Zone lowerOf5 = RPNDetector::Zone{MPEZoneType::lower, 5};
    const struct {
        const char* what;
        int channel;
        const char* controllers;
        Zone expected;
    } cases[]{
        {"lower", 0, "65 00 64 06 06 05 26 00 65 7F 64 7F", lowerOf5},
        {"upper", 15, "65 00 64 06 06 05 26 00 65 7F 64 7F", RPNDetector::Zone{MPEZoneType::upper, 5}},
        {"repeated steps", 0, "65 00 65 00 64 06 64 06 06 03 06 05 26 00 26 00 65 7F 65 7F 64 7F", lowerOf5},
        {"begun again", 0, "65 00 64 06 06 09 65 00 64 06 06 05 26 00 65 7F 64 7F", lowerOf5},
        {"fine value", 0, "65 00 64 06 06 05 26 01 65 7F 64 7F", none},
        {"no fine value", 0, "65 00 64 06 06 05 65 7F 64 7F", none},
        {"other parameter", 0, "65 00 64 05 06 05 26 00 65 7F 64 7F", none},
        {"no null", 0, "65 00 64 06 06 05 26 00 65 7F 64 00", none},
        {"interrupted", 0, "65 00 64 06 07 00 06 05 26 00 65 7F 64 7F", none},
    };
    for (const auto& one : cases) {
        RPNDetector detector;
        Zone found;
        const auto pairs = hex(one.controllers);
        for (std::size_t index = 0; index < pairs.size(); index += 2)
            found = detector.feed(pairs[index], pairs[index + 1], one.channel);
        EXPECT_EQ(found, one.expected) << one.what;
    }
}

}  // namespace
}  // namespace varnolex
