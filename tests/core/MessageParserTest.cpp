#include "CoreFixture.hpp"
#include "core/MessageParser.hpp"
#include "support/AllocationTrap.hpp"

namespace varnolex {
namespace {

using MessageParserTest = CoreTest;
using Forms = std::vector<std::string>;

struct ParserCase {
    const char* what;
    /// One run a call.
    Forms runs;
    Forms expected;
    /// What is left with `ignoresInvalidData`: the same without the invalid messages.
    Forms expectedValid() const {
        Forms valid;
        for (const std::string& form : expected)
            if (!form.starts_with("invalid")) valid.push_back(form);
        return valid;
    }
};

const std::vector<ParserCase> parserCases{
    {"running status", {"90 3C 64 3D 65"}, {"voice 90 3C 64", "voice 90 3D 65"}},
    {"running status outlives real time", {"90 3C 64 F8 3D 65"}, {"voice 90 3C 64", "realtime F8", "voice 90 3D 65"}},
    {"running status ends with the run", {"90 3C 64", "3D 65"}, {"voice 90 3C 64", "invalid 3D 65"}},
    {"an interrupted message leaves the new running status",
     {"90 3C B0 07 64 0A 40"},
     {"invalid 90 3C", "voice B0 07 64", "voice B0 0A 40"}},
    {"one data byte", {"C0 05 06 D3 07"}, {"voice C0 05 00", "voice C0 06 00", "voice D3 07 00"}},
    {"a run's end loses a partial message", {"90 3C", "64"}, {"invalid 64"}},
    {"a status byte at the end vanishes", {"90"}, {}},
    {"a partial message is kept when the last byte is a status", {"90 3C 80"}, {"invalid 90 3C"}},
    {"an interrupted message is reported", {"90 3C 80 3C 40"}, {"invalid 90 3C", "voice 80 3C 40"}},
    {"real time comes out of the middle", {"F0 01 F8 02 F7"}, {"realtime F8", "sysex 01 02 eox"}},
    {"real time between data bytes", {"90 3C FE 64"}, {"realtime FE", "voice 90 3C 64"}},
    {"undefined real time leaves no trace", {"90 F9 3C FD 64"}, {"voice 90 3C 64"}},
    {"a message over several runs", {"F0 01", "02", "", "03 F7"}, {"sysex 01 02 03 eox"}},
    {"a status byte ends an open message", {"F0 01 90 3C 40"}, {"sysex 01 open", "voice 90 3C 40"}},
    {"a new message ends an open one", {"F0 01 F0 02 F7"}, {"sysex 01 open", "sysex 02 eox"}},
    {"an undefined status ends an open message", {"F0 01 F5 02"}, {"sysex 01 open", "invalid 02"}},
    {"no data at all", {"F0 F7"}, {"sysex  eox"}},
    {"system common with running status", {"F1 10 20 F3 07"}, {"common F1 10", "common F1 20", "common F3 07"}},
    {"song position", {"F2 01 02 03 04"}, {"common F2 01 02", "common F2 03 04"}},
    {"tune request ends running status", {"90 3C 64 F6 3C"}, {"voice 90 3C 64", "common F6", "invalid 3C"}},
    {"undefined status bytes vanish", {"F5 10"}, {"invalid 10"}},
    {"a lone end", {"F7"}, {"invalid F7"}},
    {"a lone end doesn't break a message", {"90 3C F7 40"}, {"invalid F7", "voice 90 3C 40"}},
    {"invalid bytes stay behind a tune request", {"10 F6 20"}, {"common F6", "invalid 10 20"}},
    {"invalid bytes stay behind a SysEx message",
     {"10 F0 01 F7 90 3C 40"},
     {"sysex 01 eox", "invalid 10", "voice 90 3C 40"}},
    {"SysEx ends running status", {"90 3C 64 F0 F7 3D 65"}, {"voice 90 3C 64", "sysex  eox", "invalid 3D 65"}},
    {"SysEx reports the message it interrupts", {"90 3C F0 01 F7"}, {"sysex 01 eox", "invalid 90 3C"}},
    {"real time flushes invalid bytes", {"10 F8"}, {"invalid 10", "realtime F8"}},
};

Forms parsed(MessageParser& parser, const Forms& runs) {
    MessageList messages;
    for (const std::string& run : runs) {
        const auto bytes = hex(run);
        parser.parse(bytes.data(), bytes.size(), 5, messages);
    }
    return shortForms(messages);
}

TEST_F(MessageParserTest, TurnsRunsIntoMessages) {
    for (const ParserCase& one : parserCases) {
        MessageParser parser;
        EXPECT_EQ(parsed(parser, one.runs), one.expected) << one.what;
        MessageParser deaf;
        deaf.ignoresInvalidData = true;
        EXPECT_EQ(parsed(deaf, one.runs), one.expectedValid()) << one.what;
    }
}

TEST_F(MessageParserTest, StampsMessagesWithTheRunTheyBeganIn) {
    MessageParser parser;
    parser.originatingEndpointName = SharedName("Keys");
    const auto first = hex("F0 01");
    const auto second = hex("F8 02 F7 90 3C 40");
    MessageList messages = parser.parse(first.data(), first.size(), 100);
    EXPECT_TRUE(messages.empty());
    EXPECT_TRUE(parser.isReadingSysEx());
    messages = parser.parse(second.data(), second.size(), 200);
    ASSERT_EQ(messages.size(), 3u);
    EXPECT_EQ(messages[0]->timeStamp, 200u);
    EXPECT_EQ(messages[1]->timeStamp, 100u);
    EXPECT_EQ(messages[1]->originatingEndpointName.view(), "Keys");
    EXPECT_FALSE(messages[2]->originatingEndpointName);
}

TEST_F(MessageParserTest, HandsAnEndlessSysExOutInPieces) {
    MessageParser parser;
    std::vector<std::uint8_t> run(MessageParser::longestSysEx + 11, 0x11);
    run.front() = 0xF0;
    MessageList messages = parser.parse(run.data(), run.size(), 5);
    const auto end = hex("F7");
    parser.parse(end.data(), end.size(), 6, messages);
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(messages[0]->as<SystemExclusiveMessage>()->fullSize(), MessageParser::longestSysEx + 1);
    EXPECT_EQ(shortForm(*messages[1]), "sysex 11 11 11 11 11 11 11 11 11 11 eox");
}

TEST_F(MessageParserTest, LeavesTheHeapAloneInSteadyState) {
    MessageParser parser;
    MessageList messages;
    const auto run = hex("90 3C 64 F8 B0 07 10 F0 01 02 03 04 05 06 07 F7 F1 10 33 90 3C 80 F0 11 22 F7");
    std::vector<std::uint8_t> large(5000, 0x22);
    large.front() = 0xF0;
    large.back() = 0xF7;
    const auto round = [&] {
        for (int turn = 0; turn < 50; ++turn) {
            parser.parse(run.data(), run.size(), 5, messages);
            parser.parse(large.data(), large.size(), 5, messages);
        }
        messages.clear();
    };
    round();
    const AllocationTrap trap;
    for (int turn = 0; turn < 20; ++turn) round();
    EXPECT_EQ(trap.count(), 0u);
}

}  // namespace
}  // namespace varnolex
