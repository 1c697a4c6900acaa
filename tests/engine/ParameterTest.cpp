#include <gmock/gmock.h>

#include <limits>

#include "engine/ListParameters.hpp"
#include "engine/ParameterAccess.hpp"
#include "engine/ProbeTool.hpp"

namespace varnolex::testing {
namespace {

using ::testing::ElementsAre;
using namespace parameters;

using Integers = std::vector<std::int64_t>;

constexpr std::array<std::string_view, 3> texts{"low", "middle", "high"};

struct Entry {
    std::vector<std::uint8_t> bytes{144};
    std::optional<std::int64_t> place;
    std::uint8_t limited = 5;
};

constexpr std::array entryRows{
    byteList<&Entry::bytes>("bytes"),
    optionalInteger<&Entry::place>("place"),
    limitedByte<&Entry::limited>("limited").required(),
};

struct Everything {
    std::uint8_t byteValue = 1;
    std::uint16_t wordValue = 2;
    std::int16_t signedValue = 3;
    double realValue = 4;
    std::int64_t choiceValue = 0;
    std::string textValue;
    std::array<std::uint8_t, 3> listValue{1, 2, 3};
    std::optional<std::int32_t> idValue;
    std::vector<Entry> entries{{}};
};

constexpr std::array rows{
    byte<&Everything::byteValue>("byte"),
    word<&Everything::wordValue>("word"),
    signedWord<&Everything::signedValue>("signedWord"),
    real<&Everything::realValue>("real"),
    choice<&Everything::choiceValue>("choice", texts, 1),
    text<&Everything::textValue>("text"),
    list<&Everything::listValue, 0, 255>("list"),
    uniqueID<&Everything::idValue>("id"),
    records<&Everything::entries, entryRows>("records"),
};

const Parameter& rowNamed(std::string_view key) { return *std::ranges::find(rows, key, &Parameter::key); }

TEST(Parameter, takesWhatItsMemberCanHoldAndRefusesTheRestByName) {
    struct Case {
        const char* key;
        ParameterValue value;
        /// Nothing when the value is refused.
        std::optional<ParameterValue> held;
    };
    using Int = std::int64_t;
    using Records = std::vector<ParameterRecord>;
    const std::monostate none;
    constexpr Int huge = std::numeric_limits<Int>::max();
    const std::vector<Case> cases{
        {"byte", Int{255}, Int{255}},
        {"byte", Int{256}, {}},
        {"byte", Int{-1}, {}},
        {"byte", 7.0, {}},
        {"byte", true, {}},
        {"word", Int{65535}, Int{65535}},
        {"word", Int{65536}, {}},
        {"signedWord", Int{-32768}, Int{-32768}},
        {"signedWord", Int{32768}, {}},
        {"real", 2.5, 2.5},
        {"real", Int{2}, 2.0},
        {"real", std::string("2"), {}},
        {"choice", std::string("high"), Int{2}},
        {"choice", std::string("higher"), Int{1}},
        {"choice", Int{0}, Int{0}},
        {"choice", Int{-1}, Int{1}},
        {"choice", huge, Int{1}},
        {"choice", 1.0, {}},
        {"text", std::string("x"), std::string("x")},
        {"text", Int{1}, {}},
        {"list", Integers{9}, Integers{9, 2, 3}},
        {"list", Integers{9, 8, 7, 6}, Integers{9, 8, 7}},
        {"list", Integers{}, Integers{1, 2, 3}},
        {"list", Integers{9, 256}, {}},
        {"list", Integers{0, 0, 0, -1}, {}},
        {"id", Int{std::numeric_limits<std::int32_t>::min()}, Int{std::numeric_limits<std::int32_t>::min()}},
        {"id", Int{1} << 31, {}},
        {"id", none, none},
        {"records", Records{}, Records{}},
        {"records", Records{{{none, none, huge}}, {{Integers{1, 256, -1}, Int{-3}, Int{7}}}},
         Records{{{Integers{144}, none, Int{255}}}, {{Integers{1, 255, 0}, Int{-3}, Int{7}}}}},
        {"records", Records{{{Integers{1}, none, none}}}, {}},
        {"records", Records{{{Integers{1}}}}, {}},
        {"records", Records{{{true, none, Int{1}}}}, {}},
        {"records", Integers{1}, {}},
    };
    for (const Case& one : cases) {
        const Parameter& row = rowNamed(one.key);
        Everything settings;
        settings.idValue = 5;
        try {
            row.write(&settings, one.value, row);
            EXPECT_EQ(row.read(&settings), one.held) << one.key;
        } catch (const ParameterError& error) {
            EXPECT_EQ(one.held, std::nullopt) << one.key;
            EXPECT_THAT(error.what(), ::testing::StartsWith('"' + std::string(one.key) + "\""));
        }
    }
}

class ParameterAccessTest : public ::testing::Test {
protected:
    VirtualRuntime runtime;
    RuntimeScope scope{runtime};
    ProbeTool tool;
};

TEST_F(ParameterAccessTest, setsSeveralAsOneChange) {
    const std::vector<ParameterAssignment> assignments{{"level", std::int64_t{9}}, {"isLoud", false}};
    setParameters(tool, assignments);
    ASSERT_EQ(tool.befores.size(), 1u);
    EXPECT_EQ(tool.befores[0].level, 6);
    EXPECT_EQ(parameterOf(tool, "level"), ParameterValue(std::int64_t{9}));
    EXPECT_EQ(parameterOf(tool, "width"), ParameterValue(std::int64_t{8}));
}

TEST_F(ParameterAccessTest, changesNothingWhenOneOfThemIsRefused) {
    const std::vector<ParameterAssignment> assignments{{"level", std::int64_t{9}}, {"width", std::int64_t{999}}};
    EXPECT_THROW(setParameters(tool, assignments), ParameterError);
    EXPECT_THROW(setParameter(tool, "nothing", true), ParameterError);
    EXPECT_THROW(parameterOf(tool, ""), ParameterError);
    EXPECT_TRUE(tool.befores.empty());
    EXPECT_EQ(tool.settings().level, 6);
}

TEST_F(ParameterAccessTest, listsPortsByTheirPlace) {
    std::vector<std::string_view> ids;
    for (const ValuePort& port : tool.valuePorts()) ids.push_back(port.id);
    EXPECT_THAT(ids, ElementsAre("width", "level"));
    EXPECT_EQ(tool.port("level")->high, 100);
    EXPECT_EQ(tool.port("isLoud"), std::nullopt);
}

}  // namespace
}  // namespace varnolex::testing
