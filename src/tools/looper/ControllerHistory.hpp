#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "engine/ChainMessage.hpp"

namespace varnolex {

/// The last value of each controller on each channel, and what counts as a press of one.
class ControllerHistory {
public:
    /// The value of a controller message and the one before it.
    struct Turn {
        std::uint8_t value;
        std::optional<std::uint8_t> former;

        bool goesDown() const { return value >= downFrom && (!former || *former < downFrom); }
        bool goesUp() const { return value < downFrom && former && *former >= downFrom; }
        bool changes() const { return !former || *former != value; }
        /// Whether a button is pressed: a momentary one goes down, one that latches changes.
        bool fires(bool latches) const { return latches ? changes() : goesDown(); }
    };

    Turn take(const ChainMessage& controller) {
        std::int16_t& last = values[controller.noteKey()];
        Turn turn{controller.data2(), std::nullopt};
        if (last >= 0) turn.former = static_cast<std::uint8_t>(last);
        last = controller.data2();
        return turn;
    }

private:
    static constexpr std::uint8_t downFrom = 64;

    std::array<std::int16_t, 16 * 128> values = [] {
        std::array<std::int16_t, 16 * 128> absent{};
        absent.fill(-1);
        return absent;
    }();
};

}  // namespace varnolex
