#pragma once

#include <algorithm>
#include <cmath>
#include <optional>
#include <string_view>

namespace varnolex {

/// A numeric input of a tool, to which a value cable or a learned controller brings numbers. The texts are
/// static: a port may be passed around as a view for as long as the program runs.
struct ValuePort {
    /// The port's name within its tool. Documents keep it.
    std::string_view id;
    std::string_view label;
    /// The meaningful values, both ends included. A learned controller's 0 to 127 is mapped onto them; a cable
    /// delivers its number as it is.
    double low = 0;
    double high = 127;

    bool operator==(const ValuePort&) const = default;
};

/// Takes what a producer fires. Called on the producer's thread, which may be a real-time one.
class ValueDelivery {
public:
    virtual ~ValueDelivery() = default;
    virtual void deliver(double value) const noexcept = 0;
};

/// `value` limited to [low, high] and rounded to the nearest integer, halves away from zero. A value that isn't
/// finite yields `low`.
inline int clampedInt(int low, int high, double value) {
    if (!std::isfinite(value)) return low;
    const double limited = std::clamp(value, static_cast<double>(low), static_cast<double>(high));
    return static_cast<int>(std::lround(limited));
}

}  // namespace varnolex
