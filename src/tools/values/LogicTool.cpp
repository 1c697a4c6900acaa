#include <array>
#include <cmath>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "engine/ValueProducer.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/values/ValueInputs.hpp"

// Compares up to three numbers and puts out one of two, anew whenever an input or a setting is set, on the thread that
// sets it. The inputs last for the session only. Messages pass.

namespace varnolex {
namespace {

enum class LogicOp : std::uint8_t {
    greaterThanThreshold,
    lessThanThreshold,
    equalThreshold,
    AgreaterB,
    AlessB,
    AequalB,
    AnotEqualB,
    between,
    notBetween
};

constexpr std::array<std::string_view, 9> operationTexts{"A > Threshold", "A < Threshold", "A = Threshold",
                                                         "A > B",         "A < B",         "A = B",
                                                         "A ≠ B",         "B ≤ A ≤ C",     "A < B or A > C"};

struct LogicSettings {
    LogicOp operation = LogicOp::greaterThanThreshold;
    double threshold = 64;
    double trueValue = 127;
    double falseValue = 0;

    static LogicSettings fresh() { return {LogicOp::greaterThanThreshold, 63, 127, 0}; }
};

using namespace parameters;

constexpr std::array table{
    choice<&LogicSettings::operation>("operation", operationTexts),
    real<&LogicSettings::threshold>("threshold"),
    real<&LogicSettings::trueValue>("trueValue"),
    real<&LogicSettings::falseValue>("falseValue"),
    portOnly("inputA", "A", 0, 127),
    portOnly("inputB", "B", 0, 127),
    portOnly("inputC", "C", 0, 127),
    portOnly("inputD", "D", 0, 127),
};

bool isEqual(double one, double other) { return std::abs(one - other) < 0.5; }

bool isTrue(const LogicSettings& now, const InputValues& in) {
    switch (now.operation) {
        case LogicOp::greaterThanThreshold:
            return in.a > now.threshold;
        case LogicOp::lessThanThreshold:
            return in.a < now.threshold;
        case LogicOp::equalThreshold:
            return isEqual(in.a, now.threshold);
        case LogicOp::AgreaterB:
            return in.a > in.b;
        case LogicOp::AlessB:
            return in.a < in.b;
        case LogicOp::AequalB:
            return isEqual(in.a, in.b);
        case LogicOp::AnotEqualB:
            return !isEqual(in.a, in.b);
        case LogicOp::between:
            return in.b <= in.a && in.a <= in.c;
        case LogicOp::notBetween:
            return in.a < in.b || in.a > in.c;
    }
    return false;
}

class LogicTool final : public ConfiguredTool<LogicSettings>, public ValueProducer, public ValueReceiver {
public:
    LogicTool() : ConfiguredTool(logicDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override { chain.forward(message); }

    ValueProducer* valueProducer() override { return this; }
    ValueReceiver* valueReceiver() override { return this; }

    double outputValue() const override {
        const LogicSettings now = current();
        return isTrue(now, inputs.values()) ? now.trueValue : now.falseValue;
    }

    void receive(double value, std::string_view portID) override {
        if (inputs.receive(value, portID)) fire(outputValue());
    }

protected:
    void settingsDidChange(const LogicSettings&) override { fire(outputValue()); }

private:
    ValueInputs inputs;
};

}  // namespace

const ToolDefinition logicDefinition{PipeToolType::logic, "LogicConfig", table,
                                     []() -> std::shared_ptr<PipeTool> { return std::make_shared<LogicTool>(); }};

}  // namespace varnolex
