#include <limits>

#include "ValueProbe.hpp"

namespace varnolex::testing {
namespace {

using Numbers = std::vector<double>;

TEST(ConstantTool, firesAtEverySetAndPrefersTheRiddenNumber) {
    ValueProbe probe(PipeToolType::constant);
    EXPECT_EQ(probe.output(), 64);
    probe.set("value", 12.5);
    probe.set("value", 12.5);
    probe.tool->setLiveValue(99.0, "value");
    probe.set("value", 3.0);
    probe.tool->setLiveValue(1.0, "other");
    probe.tool->setLiveValue(std::nullopt, "value");
    EXPECT_EQ(probe.firedNow(), (Numbers{12.5, 12.5, 99, 99, 3}));
    EXPECT_TRUE(probe.tool->valuePorts().empty());
    EXPECT_EQ(probe.answer({0x90, 1, 2}), std::vector<std::string>{"90 01 02 |"});
}

struct Calculation {
    const char* operation;
    double a, b, c, d;
    double result;
};

TEST(ManipulatorTool, calculatesAndStaysWithinSevenBits) {
    constexpr double huge = std::numeric_limits<double>::max();
    const std::vector<Calculation> calculations{
        {"Pass A", 63.5, 1, 2, 3, 63.5},
        {"Pass A", 1000, 0, 0, 0, 127},
        {"A × Scale", 100, 0, 0, 0, 127},
        {"A × Scale", 20, 0, 0, 0, 40},
        {"A + Offset", 20, 0, 0, 0, 15},
        {"A + Offset", 3, 0, 0, 0, 0},
        {"127 − A", 27, 0, 0, 0, 100},
        {"Clamp A", 5, 0, 0, 0, 10},
        {"Clamp A", 120, 0, 0, 0, 100},
        {"A + B", 10, 20, 0, 0, 30},
        {"A − B", 10, 20, 0, 0, 0},
        {"A × B ÷ 127", 127, 64, 0, 0, 64},
        {"Min(A, B)", 9, 8, 0, 0, 8},
        {"Max(A, B)", 9, 8, 0, 0, 9},
        {"(A + B) ÷ 2", 9, 8, 0, 0, 8.5},
        {"Clamp A to B–C", 10, 100, 20, 0, 20},
        {"Clamp A to B–C", 110, 100, 20, 0, 100},
        {"A×B÷127 + C", 127, 10, 5, 0, 15},
        {"A×B÷127, Clamp C–D", 127, 10, 20, 40, 20},
        {"A×B÷127, Clamp C–D", 127, 90, 20, 40, 40},
        {"Lerp A→B by C", 10, 90, 0, 0, 10},
        {"Lerp A→B by C", 10, 90, 127, 0, 90},
        {"Lerp A→B by C", 10, 90, 63.5, 0, 50},
        {"A × B ÷ 127", huge, huge, 0, 0, 127},
        {"Lerp A→B by C", -huge, huge, -huge, huge, 0},
        {"no such operation", 7, 1, 1, 1, 7},
    };
    ValueProbe probe(PipeToolType::manipulator);
    probe.set("scaleFactor", 2.0);
    probe.set("offsetValue", -5.0);
    probe.set("clampMin", 10.0);
    probe.set("clampMax", 100.0);
    for (const Calculation& one : calculations) {
        probe.set("operation", one.operation);
        probe.receive(one.a, "inputA");
        probe.receive(one.b, "inputB");
        probe.receive(one.c, "inputC");
        probe.receive(one.d, "inputD");
        EXPECT_DOUBLE_EQ(probe.output(), one.result) << one.operation << " of " << one.a;
        EXPECT_EQ(probe.fired.back(), probe.output());
    }
}

TEST(ManipulatorTool, givesTheLowerLimitWhenFixedLimitsAreCrossed) {
    ValueProbe probe(PipeToolType::manipulator);
    probe.set("operation", "Clamp A");
    probe.set("clampMin", 90.0);
    probe.set("clampMax", 10.0);
    EXPECT_EQ(probe.output(), 90);
}

TEST(ManipulatorTool, keepsReceivedInputsInItsSettingsAndTakesStoredOnesBack) {
    ValueProbe probe(PipeToolType::manipulator);
    probe.receive(33, "inputA");
    probe.receive(5, "inputE");
    probe.receive(5, "input");
    probe.receive(std::numeric_limits<double>::quiet_NaN(), "inputA");
    EXPECT_EQ(probe.firedNow(), Numbers{33});
    EXPECT_EQ(parameterOf(*probe.tool, "inputA"), ParameterValue(33.0));
    probe.set("scaleFactor", 4.0);
    EXPECT_EQ(probe.output(), 33);
    probe.tool->editSettings(SettingsBase::silence, [](void*) {});
    EXPECT_EQ(probe.output(), 0);
    probe.set("inputA", 12.0);
    EXPECT_EQ(probe.output(), 12);
}

/// Sets an input of a tool as another thread would, in the middle of an edit.
TEST(ManipulatorTool, losesNoNumberThatArrivesDuringAnEdit) {
    ValueProbe probe(PipeToolType::manipulator);
    probe.receive(1, "inputA");
    probe.tool->editSettings(SettingsBase::current, [&](void*) { probe.receive(2, "inputA"); });
    EXPECT_EQ(probe.output(), 2);
}

TEST(LogicTool, comparesItsInputs) {
    const std::vector<Calculation> comparisons{
        {"A > Threshold", 63.1, 0, 0, 0, 100},
        {"A > Threshold", 63, 0, 0, 0, 5},
        {"A < Threshold", 62, 0, 0, 0, 100},
        {"A < Threshold", 63, 0, 0, 0, 5},
        {"A = Threshold", 63.4, 0, 0, 0, 100},
        {"A = Threshold", 63.5, 0, 0, 0, 5},
        {"A > B", 2, 1, 0, 0, 100},
        {"A > B", 1, 1, 0, 0, 5},
        {"A < B", 1, 2, 0, 0, 100},
        {"A < B", 2, 2, 0, 0, 5},
        {"A = B", 1, 1.4, 0, 0, 100},
        {"A = B", 1, 1.5, 0, 0, 5},
        {"A ≠ B", 1, 1.5, 0, 0, 100},
        {"A ≠ B", 1, 1.4, 0, 0, 5},
        {"B ≤ A ≤ C", 5, 5, 5, 0, 100},
        {"B ≤ A ≤ C", 5, 6, 7, 0, 5},
        {"A < B or A > C", 8, 6, 7, 0, 100},
        {"A < B or A > C", 6, 6, 7, 0, 5},
        {"greaterThan", 64, 0, 0, 0, 100},
    };
    ValueProbe probe(PipeToolType::logic);
    probe.set("trueValue", 100.0);
    probe.set("falseValue", 5.0);
    for (const Calculation& one : comparisons) {
        probe.set("operation", one.operation);
        probe.receive(one.a, "inputA");
        probe.receive(one.b, "inputB");
        probe.receive(one.c, "inputC");
        EXPECT_EQ(probe.output(), one.result) << one.operation << " of " << one.a;
    }
}

TEST(LogicTool, firesAtEveryInputAlsoWhenTheAnswerStays) {
    ValueProbe probe(PipeToolType::logic);
    probe.receive(1, "inputA");
    probe.receive(2, "inputA");
    probe.receive(9, "inputD");
    probe.receive(9, "threshold");
    EXPECT_EQ(probe.firedNow(), (Numbers{0, 0, 0}));
    EXPECT_EQ(probe.tool->valuePorts().size(), 4u);
}

}  // namespace
}  // namespace varnolex::testing
