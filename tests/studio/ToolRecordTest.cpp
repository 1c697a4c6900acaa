#include <limits>

#include "engine/Catalogue.hpp"
#include "engine/ParameterAccess.hpp"
#include "studio/DocumentFixture.hpp"
#include "studio/ToolRecord.hpp"

namespace varnolex {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class ToolRecordTest : public DocumentFixture {};

struct Reading {
    PipeToolType type;
    const char* record;
    const char* key;
    ParameterValue expected;
};

TEST_F(ToolRecordTest, AKeyIsReadAsItsRowSays) {
    using enum PipeToolType;
    using Integer = std::int64_t;
    using Integers = std::vector<Integer>;
    const std::monostate none;
    const Reading table[] = {
        {transpose, R"({"semitones": -7})", "semitones", Integer{-7}},
        {transpose, R"({"semitones": 4.0, "unknown": [{}]})", "semitones", Integer{4}},
        {transpose, R"({"semitones": null})", "semitones", Integer{0}},
        {transpose, R"({"semitones": 1, "semitones": 2})", "semitones", Integer{2}},
        {channelFilter, R"({"channelMask": 70000})", "channelMask", Integer{65535}},
        {channelFilter, R"({"channelMask": -1})", "channelMask", Integer{0}},
        {channelFilter, R"({"channelMask": "all"})", "channelMask", Integer{65535}},
        {channelFilter, R"({"channelMask": 99999999999999999999})", "channelMask", Integer{65535}},
        {channelFilter, R"({"channelMask": 0.5})", "channelMask", Integer{65535}},
        {latch, "{}", "toggleMode", true},
        {timingClock, R"({"bpm": 90})", "bpm", 90.0},
        {timingClock, R"({"bpm": 18446744073709551615})", "bpm", 18446744073709551615.0},
        {midiOut, R"({"selectedVirtualOutputID": "0000000B-0000-4000-8000-00000000000B"})", "selectedVirtualOutputID",
         Integer{-1}},
        {midiOut, R"({"selectedVirtualOutputID": {"id": 4}})", "selectedVirtualOutputID", std::monostate{}},
        {midiOut, R"({"endpointUniqueID": -5.0})", "endpointUniqueID", Integer{-5}},
        {midiGenerator, R"({"triggerNote": 300})", "triggerNote", Integer{255}},
        {midiGenerator, "{}", "steps", std::vector<ParameterRecord>{}},
        {midiGenerator, R"({"steps": [{}, {"bytes": [300, -1], "delayMsOverride": 5, "randomizeMax": null}]})", "steps",
         std::vector<ParameterRecord>{{{Integers{144, 60, 100}, none, none, Integer{0}, Integer{127}, none}},
                                      {{Integers{255, 0}, Integer{5}, none, Integer{0}, Integer{127}, none}}}},
    };
    for (const Reading& row : table) {
        SCOPED_TRACE(row.record);
        const auto tool = makeTool(row.type);
        EXPECT_EQ(tryApplyConfig(row.record, *tool), std::nullopt);
        EXPECT_EQ(parameterOf(*tool, row.key), row.expected);
    }
    EXPECT_TRUE(logged.empty());
}

TEST_F(ToolRecordTest, AChoiceIsReadAndWrittenAsItsText) {
    const auto logic = makeTool(PipeToolType::logic);
    ASSERT_EQ(tryApplyConfig(R"({"operation": "A ≠ B"})", *logic), std::nullopt);
    EXPECT_THAT(*encodeConfig(*logic), HasSubstr(R"("operation":"A ≠ B")"));
    ASSERT_EQ(tryApplyConfig(R"({"operation": "greaterThan"})", *logic), std::nullopt);
    EXPECT_THAT(*encodeConfig(*logic), HasSubstr(R"("operation":"A > Threshold")"));
    const auto counter = makeTool(PipeToolType::counter);
    ASSERT_EQ(tryApplyConfig(R"({"triggerType": "velocity"})", *counter), std::nullopt);
    EXPECT_THAT(*encodeConfig(*counter), HasSubstr(R"("triggerType":"noteOn")"));
}

TEST_F(ToolRecordTest, ARecordThatIsWrongSaysWhyAndChangesNothing) {
    using enum PipeToolType;
    struct {
        PipeToolType type;
        const char* record;
        const char* reason;
    } const table[] = {
        {transpose, R"({"fromChannelOnly": true, "semitones": "four"})", "\"semitones\" must be an integer"},
        {transpose, R"({"semitones": 1.5})", "\"semitones\" must be an integer"},
        {transpose, R"({"semitones": 9223372036854775808})", "\"semitones\" must be an integer"},
        {transpose, R"({"semitones": {}})", "\"semitones\" must be an integer"},
        {transpose, R"({"fromChannel": 256})", "\"fromChannel\" must be an integer from 0 to 255"},
        {transpose, R"({"fromChannelOnly": 1})", "\"fromChannelOnly\" must be true or false"},
        {timingClock, R"({"bpm": "fast"})", "\"bpm\" must be a number"},
        {timingClock, R"({"bpm": 1e999})", "a number is too large"},
        {logic, R"({"operation": 3})", "\"operation\" must be a text"},
        {midiIn, R"({"endpointUniqueID": 4294967296})", "\"endpointUniqueID\" must be an integer from"},
        {midiIn, R"({"endpointUniqueID": [1]})", "\"endpointUniqueID\" must be an integer from"},
        {channelRouter, R"({"channelMap": 3})", "\"channelMap\" must be a list of integers"},
        {channelRouter, R"({"channelMap": [1, true]})", "\"channelMap\" must be a list of integers"},
        {keyMapper, R"({"mapTable": [0, 256]})", "each from 0 to 255"},
        {midiGenerator, R"({"steps": {}})", "\"steps\" must be a list of objects"},
        {midiGenerator, R"({"steps": [[1]]})", "\"steps\" must be a list of objects"},
        {midiGenerator, R"({"steps": [{"bytes": 3}]})", "\"steps\": \"bytes\" must be a list of integers"},
        {transpose, "[]", "expected an object"},
        {transpose, "{\"semitones\"", "line 1, column"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.record);
        const auto tool = makeTool(row.type);
        const auto before = encodeConfig(*tool);
        EXPECT_THAT(tryApplyConfig(row.record, *tool).value_or("read"), HasSubstr(row.reason));
        EXPECT_EQ(encodeConfig(*tool), before);
    }
    applyConfig(R"({"semitones": []})", *makeTool(transpose));
    EXPECT_THAT(logged, ElementsAre("Decode failed for TransposeConfig: \"semitones\" must be an integer"));
}

TEST_F(ToolRecordTest, EveryKindsRecordComesBackAsItWasWritten) {
    for (const ToolKind& kind : allToolKinds()) {
        SCOPED_TRACE(kind.rawValue);
        const auto tool = makeTool(kind.type);
        const auto fresh = encodeConfig(*tool);
        applyConfig("", *tool);
        EXPECT_EQ(encodeConfig(*tool), fresh);

        EXPECT_EQ(tryApplyConfig("{}", *tool), std::nullopt);
        const auto silent = encodeConfig(*tool);
        if (!fresh) continue;
        EXPECT_EQ(tryApplyConfig(*fresh, *tool), std::nullopt);
        EXPECT_EQ(encodeConfig(*tool), fresh);
        EXPECT_EQ(tryApplyConfig(*silent, *tool), std::nullopt);
        EXPECT_EQ(encodeConfig(*tool), silent);
    }
}

TEST_F(ToolRecordTest, ANumberWithoutAJSONFormIsWrittenAsTheNearestOrLeftOut) {
    const auto tool = makeTool(PipeToolType::constant);
    setParameter(*tool, "value", std::numeric_limits<double>::infinity());
    EXPECT_EQ(encodeConfig(*tool), R"({"value":1.7976931348623157e+308})");
    setParameter(*tool, "value", std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(encodeConfig(*tool), "{}");
}

TEST_F(ToolRecordTest, ATextThatIsNoUTF8IsWrittenReadably) {
    const auto tool = makeTool(PipeToolType::midiIn);
    setParameter(*tool, "endpointName", std::string("Ke\xFFys\0!", 7));
    const auto record = encodeConfig(*tool);
    ASSERT_EQ(tryApplyConfig(*record, *tool), std::nullopt);
    EXPECT_EQ(parameterOf(*tool, "endpointName"), ParameterValue(std::string("Ke\uFFFDys\0!", 9)));
}

TEST_F(ToolRecordTest, FlagsMayTakeAllTheirBits) {
    const auto tool = makeTool(PipeToolType::keystroke);
    ASSERT_EQ(tryApplyConfig(R"({"modifierFlags": 18446744073709551615})", *tool), std::nullopt);
    EXPECT_THAT(*encodeConfig(*tool), HasSubstr(R"("modifierFlags":18446744073709551615)"));
    EXPECT_NE(tryApplyConfig(R"({"modifierFlags": -1})", *tool), std::nullopt);
}

TEST_F(ToolRecordTest, AMappingOfADeviceIsWhole) {
    const auto tool = makeTool(PipeToolType::hid);
    const std::string whole = R"({"mappings":[{"cookie":3,"data1":7,"status":144}],"outputChannel":0})";
    ASSERT_EQ(tryApplyConfig(whole, *tool), std::nullopt);
    EXPECT_EQ(encodeConfig(*tool), whole);
    EXPECT_NE(tryApplyConfig(R"({"outputChannel":5,"mappings":[{"cookie":3,"status":144}]})", *tool), std::nullopt);
    EXPECT_EQ(encodeConfig(*tool), whole);
}

}  // namespace
}  // namespace varnolex
