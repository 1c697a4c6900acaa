#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "engine/ValueProducer.hpp"
#include "tools/ToolDefinitions.hpp"

// Puts one number on its value cables: the stored one, or the one that a learned controller rides. Messages pass.

namespace varnolex {
namespace {

struct ConstantSettings {
    double value = 0;

    static ConstantSettings fresh() { return {64}; }
};

struct ConstantLives {
    LiveValue value;
};

using namespace parameters;

constexpr std::array table{
    real<&ConstantSettings::value>("value").rides<&ConstantLives::value>(),
};

class ConstantTool final : public ConfiguredTool<ConstantSettings, ConstantLives>, public ValueProducer {
public:
    ConstantTool() : ConfiguredTool(constantDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override { chain.forward(message); }

    ValueProducer* valueProducer() override { return this; }
    double outputValue() const override { return live().value.get().value_or(current().value); }

protected:
    void settingsDidChange(const ConstantSettings&) override { fire(outputValue()); }
    void liveValueDidChange() override { fire(outputValue()); }
};

}  // namespace

const ToolDefinition constantDefinition{PipeToolType::constant, "ConstantConfig", table,
                                        []() -> std::shared_ptr<PipeTool> { return std::make_shared<ConstantTool>(); }};

}  // namespace varnolex
