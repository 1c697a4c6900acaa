#include <algorithm>
#include <array>
#include <cmath>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "engine/WalkState.hpp"
#include "tools/StoredChoice.hpp"
#include "tools/ToolDefinitions.hpp"

// Bends the velocities of notes, controller values and pressures along a curve. The ends of the range stay where they
// are, and so does everything when the curve yields no number.

namespace varnolex {
namespace {

struct CurveTransformerSettings {
    struct Reduced {
        double intensity;
        std::uint8_t curveType;
        std::uint8_t applyTo;
    };

    /// A `CurveType`; any other number leaves values as they are.
    std::int64_t curveType = 0;
    /// 0 to 1.
    double intensity = 0.8;
    /// A `Target`.
    std::int64_t applyTo = 0;

    Reduced realTime() const { return {intensity, choiceByte(curveType), choiceByte(applyTo)}; }

    static CurveTransformerSettings fresh() {
        CurveTransformerSettings settings;
        settings.intensity = 0.5;
        settings.applyTo = 2;
        return settings;
    }
};

enum CurveType : std::uint8_t { linear, logarithmic, exponential, sShaped, reversed };
enum Target : std::uint8_t { velocities, controllers, both };

struct CurveTransformerLives {
    LiveValue intensity;
};

using namespace parameters;

constexpr std::array table{
    integer<&CurveTransformerSettings::curveType>("curveType"),
    real<&CurveTransformerSettings::intensity>("intensity")
        .port("Intensity", 0, 100)
        .rides<&CurveTransformerLives::intensity>(),
    integer<&CurveTransformerSettings::applyTo>("applyTo"),
};

/// Both ends of the range are 0 and 1.
double curveAt(std::uint8_t curveType, double intensity, double place) {
    switch (curveType) {
        case logarithmic:
            return std::pow(place, 1 / (3 * intensity + 1));
        case exponential:
            return std::pow(place, 3 * intensity + 1);
        case sShaped:
            return 1 / (1 + std::exp(-(10 * intensity + 1) * (place - 0.5)));
        case reversed:
            return 1 - place;
        default:
            return place;
    }
}

/// What values become, calculated once for each as long as the curve stays the same.
class BentValues {
public:
    std::uint8_t of(std::uint8_t value, std::uint8_t curveType, double intensity) {
        if (value == 0 || value >= 127 || curveType == linear || curveType > reversed) return value;
        if (curveType != bentBy || intensity != bentWith) [[unlikely]] {
            bentBy = curveType;
            bentWith = intensity;
            known.fill(unknown);
        }
        std::uint8_t& bent = known[value];
        if (bent == unknown) bent = bend(value, curveType, intensity);
        return bent;
    }

private:
    static constexpr std::uint8_t unknown = 0xFF;

    static std::uint8_t bend(std::uint8_t value, std::uint8_t curveType, double intensity) {
        const double bent = curveAt(curveType, intensity, value / 127.0) * 127 + 0.5;
        return std::isfinite(bent) ? static_cast<std::uint8_t>(std::clamp(bent, 0.0, 127.0)) : value;
    }

    std::uint8_t bentBy = linear;
    double bentWith = 0;
    std::array<std::uint8_t, 127> known{};
};

class CurveTransformerTool final : public ConfiguredTool<CurveTransformerSettings, CurveTransformerLives> {
public:
    CurveTransformerTool() : ConfiguredTool(curveTransformerDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        const CurveTransformerSettings::Reduced& now = settingsInWalk();
        const std::size_t place = valuePlace(message, now.applyTo);
        if (place == 0) return chain.forward(message);
        const std::uint8_t bent = bentValues.inWalk().of(message.bytes[place], now.curveType, intensity(now));
        const ShortMessage curved =
            place == 1 ? ShortMessage::withData1(bent, message) : ShortMessage(message.status(), message.data1(), bent);
        chain.forward(message.carrying(curved));
    }

    // The port is in percent.
    void setLiveValue(std::optional<double> value, std::string_view key) override {
        if (value) *value /= 100;
        ConfiguredTool::setLiveValue(value, key);
    }

private:
    /// Where in the message the value stands that is to be bent; 0 for nowhere.
    static std::size_t valuePlace(const ChainMessage& message, std::uint8_t applyTo) {
        if ((applyTo == velocities || applyTo == both) && message.isNoteOn()) return 2;
        if (applyTo != controllers && applyTo != both) return 0;
        if (message.isController() || message.isThreeBytes(0xA0)) return 2;
        return message.isChannelPressure() ? 1 : 0;
    }

    double intensity(const CurveTransformerSettings::Reduced& now) const {
        return live().intensity.get().value_or(now.intensity);
    }

    WalkState<BentValues> bentValues;
};

}  // namespace

const ToolDefinition curveTransformerDefinition{
    PipeToolType::curveTransformer, "CurveTransformerConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<CurveTransformerTool>(); }};

}  // namespace varnolex
