#include <algorithm>
#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "tools/ByteTable.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/notes/NoteMap.hpp"

// Gives each note and its polyphonic pressure another number by a table, and shifts the result by octaves. What
// leaves the range of MIDI is dropped. Nothing is remembered: a note end goes through the table as it stands then.

namespace varnolex {
namespace {

struct KeyMapperSettings {
    ByteTable mapTable = identityTable();
    std::int64_t octaveShift = 0;

    SharedByteTable::NoSnapshot realTime() const { return {}; }
};

using namespace parameters;

constexpr std::array table{
    list<&KeyMapperSettings::mapTable, 0, 255>("mapTable"),
    integer<&KeyMapperSettings::octaveShift>("octaveShift"),
};

class KeyMapperTool final : public ConfiguredTool<KeyMapperSettings> {
public:
    KeyMapperTool() : ConfiguredTool(keyMapperDefinition) { publishOutputs(); }

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (!isMapped(message)) return chain.forward(message);
        const std::uint8_t note = outputs[message.data1()];
        if (note == dropped) return chain.forward(message.dropped());
        const std::array<std::uint8_t, 3> bytes{message.status(), note, message.length > 2 ? message.data2() : note};
        chain.forward(message.carrying({bytes.data(), message.length}));
    }

protected:
    void settingsDidChange(const KeyMapperSettings&) override { publishOutputs(); }

private:
    static constexpr std::uint8_t dropped = 0xFF;

    static bool isMapped(const ChainMessage& message) {
        return (message.length == 2 || message.length == 3) && message.kind() >= 0x80 && message.kind() <= 0xA0;
    }

    void publishOutputs() {
        const int shift = 12 * static_cast<int>(std::clamp<std::int64_t>(settings().octaveShift, -100, 100));
        outputs.fill([&](std::size_t note) {
            const int output = settings().mapTable[note] + shift;
            return isNote(output) ? static_cast<std::uint8_t>(output) : dropped;
        });
    }

    /// What each note becomes, the octaves included.
    SharedByteTable outputs;
};

}  // namespace

const ToolDefinition keyMapperDefinition{
    PipeToolType::keyMapper, "KeyMapperConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<KeyMapperTool>(); }};

}  // namespace varnolex
