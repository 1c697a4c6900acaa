#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "engine/ValueProducer.hpp"
#include "tools/ToolDefinitions.hpp"

// Reads a number out of the messages that pass and puts it on its value cables. Its number lasts for the session.

namespace varnolex {
namespace {

enum class Field : std::uint8_t { dataByte1, dataByte2, channel };
enum class Filter : std::uint8_t { any, noteOn, noteOff, cc, specificCC };

constexpr std::array<std::string_view, 3> fieldTexts{"dataByte1", "dataByte2", "channel"};
constexpr std::array<std::string_view, 5> filterTexts{"any", "noteOn", "noteOff", "cc", "specificCC"};

struct DataReaderSettings {
    Field field = Field::dataByte2;
    Filter filter = Filter::any;
    std::uint8_t specificCC = 0;
};

using namespace parameters;

constexpr std::array table{
    choice<&DataReaderSettings::field>("field", fieldTexts, static_cast<std::size_t>(Field::dataByte2)),
    choice<&DataReaderSettings::filter>("filter", filterTexts),
    byte<&DataReaderSettings::specificCC>("specificCC"),
};

/// `message` has at least two bytes. A velocity of 0 is still a Note On here.
bool isWanted(const DataReaderSettings& now, const ChainMessage& message) {
    if (now.filter == Filter::any) return true;
    if (message.length < 3) return false;
    switch (now.filter) {
        case Filter::any:
            break;
        case Filter::noteOn:
            return message.kind() == 0x90;
        case Filter::noteOff:
            return message.kind() == 0x80;
        case Filter::cc:
            return message.kind() == 0xB0;
        case Filter::specificCC:
            return message.kind() == 0xB0 && message.data1() == now.specificCC;
    }
    return true;
}

std::uint8_t fieldOf(Field field, const ChainMessage& message) {
    switch (field) {
        case Field::dataByte1:
            return message.data1();
        case Field::dataByte2:
            return message.length >= 3 ? message.data2() : std::uint8_t{0};
        case Field::channel:
            break;
    }
    return message.channel();
}

class DataReaderTool final : public ConfiguredTool<DataReaderSettings>, public ValueProducer {
public:
    DataReaderTool() : ConfiguredTool(dataReaderDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (message.length >= 2) {
            const DataReaderSettings& now = settingsInWalk();
            if (isWanted(now, message)) capture(fieldOf(now.field, message));
        }
        chain.forward(message);
    }

    ValueProducer* valueProducer() override { return this; }
    double outputValue() const override { return currentValue.get(); }

private:
    void capture(double value) {
        currentValue.set(value);
        fire(value);
    }

    SharedValue<double> currentValue{0};
};

}  // namespace

const ToolDefinition dataReaderDefinition{
    PipeToolType::dataReader, "DataReaderConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<DataReaderTool>(); }};

}  // namespace varnolex
