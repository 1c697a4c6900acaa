#include "engine/BypassToggleState.hpp"

namespace varnolex {
namespace {

// The gap between the two keeps a knob that rests near the middle from flickering.
constexpr std::uint8_t pressedFrom = 72;
constexpr std::uint8_t releasedBelow = 57;

BypassToggleState::Result byLevel(std::uint8_t value) {
    if (value >= pressedFrom) return BypassToggleState::Result::on;
    if (value < releasedBelow) return BypassToggleState::Result::off;
    return BypassToggleState::Result::noChange;
}

}  // namespace

BypassToggleState& BypassToggleState::shared() {
    static BypassToggleState state;
    return state;
}

BypassToggleState::Result BypassToggleState::evaluate(const UUID& toolID, std::uint8_t value) {
    return modes.with([&](auto& held) { return advance(held[toolID], value); });
}

BypassToggleState::Result BypassToggleState::advance(Mode& mode, std::uint8_t value) {
    if (const auto* unknown = std::get_if<Unknown>(&mode)) {
        if (!unknown->firstValue) {
            mode = Unknown{value};
            return Result::noChange;
        }
        if (*unknown->firstValue == 127 && value == 0) {
            mode = SwitchLike{true};
            return Result::noChange;
        }
        mode = Knob{};
    }
    auto* button = std::get_if<SwitchLike>(&mode);
    if (!button) return byLevel(value);
    if (button->armed && value >= pressedFrom) {
        button->armed = false;
        return Result::toggle;
    }
    if (!button->armed && value < releasedBelow) button->armed = true;
    return Result::noChange;
}

void BypassToggleState::reset(const UUID& toolID) {
    modes.with([&](auto& held) { held.erase(toolID); });
}

void BypassToggleState::prepare(const UUID& toolID) {
    modes.with([&](auto& held) { held.try_emplace(toolID); });
}

}  // namespace varnolex
