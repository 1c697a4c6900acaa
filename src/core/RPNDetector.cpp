#include "core/RPNDetector.hpp"

namespace varnolex {

namespace {

constexpr std::uint8_t dataEntry = 6;
constexpr std::uint8_t dataEntryFine = 38;
constexpr std::uint8_t parameterFine = 100;
constexpr std::uint8_t parameterCoarse = 101;
constexpr std::uint8_t configurationParameter = 6;
constexpr std::uint8_t null = 127;

}  // namespace

std::optional<RPNDetector::Zone> RPNDetector::feed(std::uint8_t controller, std::uint8_t value, int channel) {
    if (step == Step::nullMSB && controller == parameterFine && value == null) {
        step = Step::idle;
        return Zone{channel == 0 ? MPEZoneType::lower : MPEZoneType::upper, pendingCount};
    }
    step = following(controller, value);
    if (step == Step::dataMSB) pendingCount = value;
    return std::nullopt;
}

RPNDetector::Step RPNDetector::following(std::uint8_t controller, std::uint8_t value) const {
    const auto is = [&](std::uint8_t number, std::uint8_t content) { return controller == number && value == content; };
    if (is(parameterCoarse, 0)) return Step::rpnMSB;
    switch (step) {
        case Step::idle:
            break;
        case Step::rpnMSB:
            if (is(parameterFine, configurationParameter)) return Step::rpnLSB;
            break;
        case Step::rpnLSB:
            if (is(parameterFine, configurationParameter)) return Step::rpnLSB;
            if (controller == dataEntry) return Step::dataMSB;
            break;
        case Step::dataMSB:
            if (controller == dataEntry) return Step::dataMSB;
            if (is(dataEntryFine, 0)) return Step::dataLSB;
            break;
        case Step::dataLSB:
            if (is(dataEntryFine, 0)) return Step::dataLSB;
            if (is(parameterCoarse, null)) return Step::nullMSB;
            break;
        case Step::nullMSB:
            if (is(parameterCoarse, null)) return Step::nullMSB;
            break;
    }
    return Step::idle;
}

}  // namespace varnolex
