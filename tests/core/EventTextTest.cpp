#include "CoreFixture.hpp"
#include "core/MessageParser.hpp"
#include "core/midifile/SysExFile.hpp"
#include "core/text/EventText.hpp"
#include "core/text/MessageDescription.hpp"

namespace varnolex {
namespace {

using MessageDescriptionTest = CoreTest;

std::string rewritten(std::string_view text) {
    EventTextReader reader(text, "in.txt");
    std::string out;
    for (EventLine line; reader.next(line);) appendEventText(out, line.time, line.bytes, line.endpoint.value_or("-"));
    return out;
}

std::string errorOf(std::string_view text) {
    try {
        rewritten(text);
    } catch (const EventTextError& error) {
        return error.what();
    }
    return "none";
}

TEST(EventTextTest, ReadsWhatItShould) {
    const struct {
        const char* in;
        const char* out;
    } cases[]{
        {"", ""},
        {"# a comment\n\n\r\n", ""},
        {"0\t90 3C 64", "0.000000000\t90 3C 64\t-\n"},
        {"1.5\tf0 0a F7\tKeys\r\n", "1.500000000\tF0 0A F7\tKeys\n"},
        {"0.123456789\tF8\tT\xC3\xB6ne 1 \n", "0.123456789\tF8\tT\xC3\xB6ne 1 \n"},
        {"\xEF\xBB\xBF"
         "0\tF8\t\n0\tF8\n",
         "0.000000000\tF8\t-\n0.000000000\tF8\t-\n"},
        {"9223372034.999999999\tF8", "9223372034.999999999\tF8\t-\n"},
    };
    for (const auto& one : cases) EXPECT_EQ(rewritten(one.in), one.out);
}

TEST(EventTextTest, RefusesTheRestAndNamesThePlace) {
    const struct {
        const char* in;
        const char* error;
    } cases[]{
        {"0\tF8\n\n#\nx\tF8\n", "in.txt:4: expected a time in decimal seconds, such as 1.25"},
        {"-1\tF8", "in.txt:1: expected a time in decimal seconds, such as 1.25"},
        {"1e3\tF8", "in.txt:1: expected a time in decimal seconds, such as 1.25"},
        {".5\tF8", "in.txt:1: expected a time in decimal seconds, such as 1.25"},
        {"\tF8", "in.txt:1: expected a time in decimal seconds, such as 1.25"},
        {"1.\tF8", "in.txt:1: expected a digit behind the decimal point"},
        {"1.0000000000\tF8", "in.txt:1: expected at most nine decimals in the time"},
        {"99999999999999999999999\tF8", "in.txt:1: expected a time below 9223372035 seconds"},
        {"1 F8", "in.txt:1: expected a time in decimal seconds, such as 1.25"},
        {"1", "in.txt:1: expected a tab and the message's bytes behind the time"},
        {"2\tF8\n1.5\tF8", "in.txt:2: expected a time of at least 2.000000000 (times must not run backwards)"},
        {"1\t", "in.txt:1: expected two-digit hexadecimal bytes with one blank between them"},
        {"1\tF", "in.txt:1: expected two-digit hexadecimal bytes with one blank between them"},
        {"1\tF8  F8", "in.txt:1: expected two-digit hexadecimal bytes with one blank between them"},
        {"1\tF8,F8", "in.txt:1: expected two-digit hexadecimal bytes with one blank between them"},
        {"1\tF8 ", "in.txt:1: expected two-digit hexadecimal bytes with one blank between them"},
        {"1\tGG", "in.txt:1: expected two-digit hexadecimal bytes with one blank between them"},
        {"1\tF8\ta\tb", "in.txt:1: expected the end of the line behind the endpoint's name, found a tab"},
    };
    for (const auto& one : cases) EXPECT_EQ(errorOf(one.in), one.error);
}

TEST(EventTextTest, WritesNamesThatCanBeReadAgain) {
    std::string text;
    appendEventText(text, 1, hex("F8"), "a\tb\r\nc");
    EXPECT_EQ(rewritten(text), "0.000000001\tF8\ta b  c\n");
}

TEST(EventTextTest, WritesJSON) {
    const struct {
        std::uint64_t time;
        const char* bytes;
        std::string_view endpoint;
        const char* json;
    } cases[]{
        {500'000'000, "90 3C 64", "MidiOut", R"({"time":0.5,"bytes":[144,60,100],"endpoint":"MidiOut"})"},
        {2'000'000'000, "00", "", R"({"time":2.0,"bytes":[0],"endpoint":""})"},
        {1'000'000'001, "", "a\"\\\n\x01\x7F", R"({"time":1.000000001,"bytes":[],"endpoint":"a\"\\\n\u0001\u007F"})"},
        {0, "FF", "\xC3\xB6 \xF0\x9D\x84\x9E",
         "{\"time\":0.0,\"bytes\":[255],\"endpoint\":\"\xC3\xB6 \xF0\x9D\x84\x9E\"}"},
        {0, "FF", "\xC3 \xC0\x80 \xED\xA0\x80 \xFF",
         "{\"time\":0.0,\"bytes\":[255],\"endpoint\":\"\xEF\xBF\xBD \xEF\xBF\xBD\xEF\xBF\xBD "
         "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD \xEF\xBF\xBD\"}"},
    };
    for (const auto& one : cases) {
        std::string json;
        appendEventJSON(json, one.time, hex(one.bytes), one.endpoint);
        EXPECT_EQ(json, std::string(one.json) + '\n');
    }
}

TEST_F(MessageDescriptionTest, SaysWhatAMessageIs) {
    const struct {
        const char* bytes;
        const char* json;
        const char* text;
    } cases[]{
        {"91 3C 64", R"("class":"VoiceMessage","type":"noteOn","status":145,"channel":1,"data":[60,100],)",
         "VoiceMessage\tnoteOn\t1\t3C 64"},
        {"C0 05", R"("class":"VoiceMessage","type":"program","status":192,"channel":0,"data":[5],)",
         "VoiceMessage\tprogram\t0\t05"},
        {"F0 01 F7", R"("class":"SystemExclusiveMessage","type":"sysex","status":240,"data":[1],"eox":true,)",
         "SystemExclusiveMessage\tsysex\t-\t01"},
        {"F0 01 F6", R"("class":"SystemExclusiveMessage","type":"sysex","status":240,"data":[1],"eox":false,)",
         "SystemExclusiveMessage\tsysex\t-\t01 (no EOX)"},
        {"F2 01 02", R"("class":"SystemCommonMessage","type":"songPositionPointer","status":242,"data":[1,2],)",
         "SystemCommonMessage\tsongPositionPointer\t-\t01 02"},
        {"FF", R"("class":"SystemRealTimeMessage","type":"reset","status":255,"data":[],)",
         "SystemRealTimeMessage\treset\t-\t"},
        {"10 20", R"("class":"InvalidMessage","type":"invalid","status":16,"data":[16,32],)",
         "InvalidMessage\tinvalid\t-\t10 20"},
    };
    for (const auto& one : cases) {
        const auto run = hex(one.bytes);
        const MessageList messages = MessageParser().parse(run.data(), run.size(), 5);
        messages.front()->originatingEndpointName = SharedName("Input");
        std::string json, text;
        appendMessageJSON(json, *messages.front(), 500'000'000);
        appendMessageText(text, *messages.front(), 500'000'000);
        EXPECT_EQ(json, std::string(R"({"time":0.5,)") + one.json + "\"endpoint\":\"Input\"}\n");
        EXPECT_EQ(text, std::string("0.500000000\t") + one.text + "\tInput\n");
    }
}

TEST_F(MessageDescriptionTest, SaysWhatAParameterChangeIs) {
    const std::array<NRPNMessage::VoiceRef, 1> raw{makeMessage<VoiceMessage>(5, 0xB2, 101, 0)};
    std::string json, text;
    appendMessageJSON(json, *makeMessage<NRPNMessage>(raw, 6, 640, true), 0);
    appendMessageText(text, *makeMessage<NRPNMessage>(raw, 6, 640, true), 0);
    EXPECT_EQ(json,
              "{\"time\":0.0,\"class\":\"NRPNMessage\",\"type\":\"cc\",\"status\":178,\"channel\":2,"
              "\"parameter\":6,\"value\":640,\"rpn\":true,\"endpoint\":\"\"}\n");
    EXPECT_EQ(text, "0.000000000\tNRPNMessage\tcc\t2\trpn 6 = 640\t\n");
}

TEST(SysExFileTest, PacesMessagesByTheBytesBeforeThem) {
    const auto contents = hex("F0 01 02 F7 F0 F7 F0 03 F7");
    const auto messages = SysExFile::read({reinterpret_cast<const char*>(contents.data()), contents.size()});
    ASSERT_EQ(messages.size(), 3u);
    EXPECT_EQ(messages[1].time, 4u * 320'000);
    EXPECT_EQ(messages[2].time, 6u * 320'000);
    EXPECT_EQ(hexText(messages[2].bytes), "F0 03 F7");
    EXPECT_TRUE(SysExFile::read("").empty());
}

TEST(SysExFileTest, RefusesJunkAndNamesThePlace) {
    const struct {
        const char* bytes;
        const char* place;
    } cases[]{
        {"01", "offset 0x0: "},          {"F0 F7 00 F0 F7", "offset 0x2: "}, {"F0 F7 F0 01", "offset 0x2: "},
        {"F0 01 F8 F7", "offset 0x2: "}, {"F0 01 F0 F7", "offset 0x2: "},    {"F0", "offset 0x0: "},
    };
    for (const auto& one : cases) {
        const auto contents = hex(one.bytes);
        try {
            SysExFile::read({reinterpret_cast<const char*>(contents.data()), contents.size()});
            ADD_FAILURE() << one.bytes;
        } catch (const SysExFileError& error) {
            EXPECT_THAT(error.what(), testing::StartsWith(one.place)) << one.bytes;
        }
    }
}

}  // namespace
}  // namespace varnolex
