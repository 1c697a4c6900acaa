#include <gtest/gtest.h>

#include <string>

#include "language/CompiledPatchJSON.hpp"
#include "language/DSLCompiler.hpp"

namespace varnolex {
namespace {

constexpr std::string_view any = R"(DataReader{"field":"dataByte2","filter":"any"})";
constexpr std::string_view velocity = R"(DataReader{"field":"dataByte2","filter":"noteOn"})";
constexpr std::string_view modulation = R"(DataReader{"field":"dataByte2","filter":"specificCC","specificCC":1})";

std::string scaled(std::string_view factor) {
    return R"( > Manipulator{"operation":"A × Scale","scaleFactor":)" + std::string(factor) + "}";
}

std::string offset(std::string_view value) {
    return R"( > Manipulator{"offsetValue":)" + std::string(value) + R"(,"operation":"A + Offset"})";
}

std::string logic(std::string_view falseValue, char comparison, std::string_view threshold,
                  std::string_view trueValue) {
    return R"( > Logic{"falseValue":)" + std::string(falseValue) + R"(,"operation":"A )" + comparison +
           R"( Threshold","threshold":)" + std::string(threshold) + R"(,"trueValue":)" + std::string(trueValue) + "}";
}

std::string counter(std::string_view low, std::string_view high, std::string_view trigger) {
    return R"(Counter{"maxValue":)" + std::string(high) + R"(,"minValue":)" + std::string(low) + "," +
           std::string(trigger) + "}";
}

/// The support nodes of a node in their order, after checking that they feed each other in that order and the last one
/// feeds the port.
std::string supportOf(std::string_view text, std::string_view port) {
    DSLCompiler program;
    program.compile(text);
    std::string row;
    EXPECT_EQ(program.valueConnections.size(), program.nodes.size() - 1) << text;
    for (std::size_t index = 0; index + 1 < program.nodes.size(); ++index) {
        const auto& node = program.nodes[index];
        row += (index ? " > " : "") + node.toolType + compiledConfigJSON(node.config);
        const bool last = index + 2 == program.nodes.size();
        const DSLValueConnection cable{index, index + 1, last ? std::string(port) : "inputA"};
        EXPECT_EQ(program.valueConnections.at(index), cable) << text;
    }
    return row;
}

TEST(ValueExpressions, compileToTheNodesThatComputeThem) {
    const auto notes = std::string(R"("triggerType":"noteOn")");
    const struct {
        std::string_view text;
        std::string support;
    } cases[] = {
        {"$CC(1)", std::string(modulation)},
        {"$cc( 1 )", std::string(modulation)},
        {"$CC(999)", R"(DataReader{"field":"dataByte2","filter":"specificCC","specificCC":255})"},
        {"$vel", std::string(velocity)},
        {"$note", R"(DataReader{"field":"dataByte1","filter":"noteOn"})"},
        {"$aftertouch", R"(DataReader{"field":"dataByte2","filter":"cc"})"},
        {"$pitchbend", std::string(any)},
        {"$live", std::string(any)},
        {"$", std::string(any)},
        {"$counter", counter("0.0", "7.0", notes)},
        {"$counter(1, 4)", counter("1.0", "4.0", notes)},
        {"$counter(1,4,cc64)", counter("1.0", "4.0", R"("triggerCC":64,"triggerType":"cc")")},
        {"$counter(1,4,cc(64))", counter("1.0", "4.0", R"("triggerCC":64,"triggerType":"cc")")},

        {"$vel * 2 + 10", std::string(velocity) + scaled("2.0") + offset("10.0")},
        {"$vel + 10 * 2", std::string(velocity) + scaled("2.0") + offset("10.0")},
        {"$vel*0.5", std::string(velocity) + scaled("0.5")},
        {"$vel + -5", std::string(velocity) + offset("-5.0")},
        {"$vel - 5", std::string(velocity) + offset("-5.0")},
        {"$vel * loud", std::string(velocity)},
        {"$counter(0, 4) * 12", counter("0.0", "4.0", notes) + scaled("12.0")},

        {"127 - $CC(1)", std::string(modulation) + R"( > Manipulator{"offsetValue":127.0,"operation":"127 − A"})"},
        {"100 - $counter(0,3)",
         counter("0.0", "3.0", notes) + R"( > Manipulator{"offsetValue":100.0,"operation":"127 − A"})"},

        {"$vel > 64 ? 120 : 40", std::string(velocity) + logic("40.0", '>', "64.0", "120.0")},
        {"$vel<64?120:40", std::string(velocity) + logic("40.0", '<', "64.0", "120.0")},
        {"$vel >= 64 ? 1", std::string(velocity) + logic("0.0", '>', "64.0", "1.0")},
        {"$vel ? 1 : 0", std::string(velocity) + logic("0.0", '<', "0.0", "1.0")},
        {"$counter(1,4) > 3 ? 1 : 0", counter("1.0", "4.0", notes) + logic("0.0", '>', "3.0", "1.0")},
    };
    for (const auto& [text, support] : cases) {
        EXPECT_EQ(supportOf("velmod(" + std::string(text) + ")", "scalePercent"), support) << text;
        EXPECT_EQ(supportOf("velmod(scale:" + std::string(text) + ")", "scalePercent"), support) << text;
    }
}

TEST(ValueExpressions, spreadABareSourceOverTheRange) {
    const auto spread = std::string(modulation) + scaled("0.3779527559055118") + offset("-24.0");
    EXPECT_EQ(supportOf("transpose($CC(1), range:-24..24)", "semitones"), spread);
    EXPECT_EQ(supportOf("lfo(depth:$CC(1), range:0..127)", "depthMax"),
              std::string(modulation) + scaled("1.0") + offset("0.0"));
    EXPECT_EQ(supportOf("transpose($CC(1) * 2, range:-24..24)", "semitones"), std::string(modulation) + scaled("2.0"));
    EXPECT_EQ(supportOf("transpose($CC(1), range:-1e308..1e308)", "semitones"), std::string(modulation));
}

TEST(ValueExpressions, areOnlyTextsOfAKnownForm) {
    for (const auto* text : {"transpose(3 + $vel)", "transpose(vel > 3 ? 1 : 0)", "delay($vel)"}) {
        EXPECT_EQ(supportOf(text, ""), "") << text;
    }
}

TEST(ValueExpressions, listenToWhatStandsBeforeTheirNode) {
    DSLCompiler program;
    program.compile("in -> velmod($vel * 2 + 10)");
    ASSERT_EQ(program.nodes.size(), 5u);
    const std::vector<DSLConnection> cables{{0, 1}, {0, 4}};
    EXPECT_EQ(program.connections, cables);
}

}  // namespace
}  // namespace varnolex
