#include <algorithm>
#include <array>
#include <numeric>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "tools/ToolDefinitions.hpp"

// Gives each program another number by a table.

namespace varnolex {
namespace {

struct PNMapperSettings {
    /// The processing road looks up single entries, so it needs no snapshot of the whole table.
    struct NoSnapshot {};

    std::array<std::uint8_t, 128> mapTable = identity();

    NoSnapshot realTime() const { return {}; }

    static std::array<std::uint8_t, 128> identity() {
        std::array<std::uint8_t, 128> entries{};
        std::iota(entries.begin(), entries.end(), std::uint8_t{0});
        return entries;
    }
};

using namespace parameters;

constexpr std::array table{
    list<&PNMapperSettings::mapTable, 0, 255>("mapTable"),
};

class PNMapperTool final : public ConfiguredTool<PNMapperSettings> {
public:
    PNMapperTool() : ConfiguredTool(pnMapperDefinition) { publishPrograms(); }

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (message.length < 2 || message.kind() != 0xC0) return chain.forward(message);
        const ShortMessage mapped(message.status(), programs[message.data1() & 0x7F].get());
        chain.forward(message.carrying(mapped));
    }

protected:
    void settingsDidChange(const PNMapperSettings&) override { publishPrograms(); }

private:
    void publishPrograms() {
        for (std::size_t number = 0; number < programs.size(); ++number)
            programs[number].set(std::min<std::uint8_t>(settings().mapTable[number], 127));
    }

    /// What each program becomes.
    std::array<SharedValue<std::uint8_t>, 128> programs;
};

}  // namespace

const ToolDefinition pnMapperDefinition{PipeToolType::pnMapper, "PNMapperConfig", table,
                                        []() -> std::shared_ptr<PipeTool> { return std::make_shared<PNMapperTool>(); }};

}  // namespace varnolex
