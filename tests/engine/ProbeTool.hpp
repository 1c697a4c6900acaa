#pragma once

#include <functional>
#include <string>
#include <vector>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "platform/VirtualRuntime.hpp"

namespace varnolex::testing {

struct ProbeSettings {
    std::int64_t level = 5;
    std::uint8_t width = 7;
    bool isLoud = false;

    static ProbeSettings fresh() { return {6, 8, true}; }
};

struct ProbeLives {
    LiveValue level;
    LiveValue width;
};

inline constexpr std::array probeTable{
    parameters::integer<&ProbeSettings::level>("level").port("Level", 20, 100, 1).rides<&ProbeLives::level>(),
    parameters::byte<&ProbeSettings::width>("width").port("Width", -1, 1).rides<&ProbeLives::width>(),
    parameters::toggle<&ProbeSettings::isLoud>("isLoud"),
};

inline const ToolDefinition probeDefinition{PipeToolType::transpose, "ProbeConfig", probeTable, nullptr};

/// A tool that keeps what it sees and does with it what the test says.
class ProbeTool final : public ConfiguredTool<ProbeSettings, ProbeLives> {
public:
    using Action = std::function<void(const ChainMessage&, ToolChain&)>;

    explicit ProbeTool(Action behaviour = {}) : ConfiguredTool(probeDefinition), action(std::move(behaviour)) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        seen.emplace_back(message.bytes, message.bytes + message.length);
        places.push_back(chain.currentIndex());
        if (action) return action(message, chain);
        chain.forward(message);
    }

    std::optional<double> liveLevel() const { return live().level.get(); }
    std::optional<double> liveWidth() const { return live().width.get(); }

    Action action;
    std::vector<std::vector<std::uint8_t>> seen;
    /// Where the walk stood each time.
    std::vector<std::size_t> places;
    std::vector<ProbeSettings> befores;

protected:
    void settingsDidChange(const ProbeSettings& before) override { befores.push_back(before); }
};

}  // namespace varnolex::testing
