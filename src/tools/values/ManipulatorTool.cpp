#include <algorithm>
#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "engine/ValueProducer.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/values/ValueInputs.hpp"

// Calculates a number of 0 to 127 from up to four, anew whenever one of them or a setting is set, on the thread that
// sets it. Messages pass.

namespace varnolex {
namespace {

enum class ManipulatorOp : std::uint8_t {
    passthrough,
    scale,
    offset,
    invert,
    clampFixed,
    add,
    subtract,
    multiply,
    minimum,
    maximum,
    average,
    clampDynamic,
    weightedMix,
    scaleClamp,
    lerp
};

constexpr std::array<std::string_view, 15> operationTexts{
    "Pass A",      "A × Scale",          "A + Offset",   "127 − A",   "Clamp A",     "A + B",
    "A − B",       "A × B ÷ 127",        "Min(A, B)",    "Max(A, B)", "(A + B) ÷ 2", "Clamp A to B–C",
    "A×B÷127 + C", "A×B÷127, Clamp C–D", "Lerp A→B by C"};

struct ManipulatorSettings {
    double inputA = 0;
    double inputB = 0;
    double inputC = 0;
    double inputD = 0;
    ManipulatorOp operation = ManipulatorOp::passthrough;
    double scaleFactor = 1;
    double offsetValue = 0;
    double clampMin = 0;
    double clampMax = 127;

    InputValues inputs() const { return {inputA, inputB, inputC, inputD}; }
};

using namespace parameters;

constexpr std::array table{
    real<&ManipulatorSettings::inputA>("inputA").port("A", 0, 127),
    real<&ManipulatorSettings::inputB>("inputB").port("B", 0, 127),
    real<&ManipulatorSettings::inputC>("inputC").port("C", 0, 127),
    real<&ManipulatorSettings::inputD>("inputD").port("D", 0, 127),
    choice<&ManipulatorSettings::operation>("operation", operationTexts),
    real<&ManipulatorSettings::scaleFactor>("scaleFactor"),
    real<&ManipulatorSettings::offsetValue>("offsetValue"),
    real<&ManipulatorSettings::clampMin>("clampMin"),
    real<&ManipulatorSettings::clampMax>("clampMax"),
};

double calculate(const ManipulatorSettings& now, const InputValues& in) {
    const double product = in.a * in.b / 127;
    switch (now.operation) {
        case ManipulatorOp::passthrough:
            return in.a;
        case ManipulatorOp::scale:
            return in.a * now.scaleFactor;
        case ManipulatorOp::offset:
            return in.a + now.offsetValue;
        case ManipulatorOp::invert:
            return 127 - in.a;
        case ManipulatorOp::clampFixed:
            // Not sorted: with the limits crossed, the lower one wins.
            return std::max(now.clampMin, std::min(in.a, now.clampMax));
        case ManipulatorOp::add:
            return in.a + in.b;
        case ManipulatorOp::subtract:
            return in.a - in.b;
        case ManipulatorOp::multiply:
            return product;
        case ManipulatorOp::minimum:
            return std::min(in.a, in.b);
        case ManipulatorOp::maximum:
            return std::max(in.a, in.b);
        case ManipulatorOp::average:
            return (in.a + in.b) * 0.5;
        case ManipulatorOp::clampDynamic:
            return std::clamp(in.a, std::min(in.b, in.c), std::max(in.b, in.c));
        case ManipulatorOp::weightedMix:
            return product + in.c;
        case ManipulatorOp::scaleClamp:
            return std::max(in.c, std::min(product, in.d));
        case ManipulatorOp::lerp:
            return in.a + in.c / 127 * (in.b - in.a);
    }
    return in.a;
}

/// 0 to 127; what isn't a number becomes 0.
double limited(double result) { return result > 0 ? std::min(result, 127.0) : 0; }

class ManipulatorTool final : public ConfiguredTool<ManipulatorSettings>, public ValueProducer, public ValueReceiver {
public:
    ManipulatorTool() : ConfiguredTool(manipulatorDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override { chain.forward(message); }

    ValueProducer* valueProducer() override { return this; }
    ValueReceiver* valueReceiver() override { return this; }

    double outputValue() const override { return limited(calculate(current(), inputs.values())); }

    void receive(double value, std::string_view portID) override {
        if (inputs.receive(value, portID)) fire(outputValue());
    }

protected:
    ManipulatorSettings settingsToKeep() const override {
        ManipulatorSettings kept = settings();
        const InputValues now = inputs.values();
        kept.inputA = now.a;
        kept.inputB = now.b;
        kept.inputC = now.c;
        kept.inputD = now.d;
        return kept;
    }

    void settingsDidChange(const ManipulatorSettings& before) override {
        inputs.apply(settings().inputs(), before.inputs());
        fire(outputValue());
    }

private:
    ValueInputs inputs;
};

}  // namespace

const ToolDefinition manipulatorDefinition{
    PipeToolType::manipulator, "ManipulatorConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<ManipulatorTool>(); }};

}  // namespace varnolex
