#pragma once

#include <array>
#include <cmath>
#include <string_view>

#include "platform/concurrency/LiveValue.hpp"

namespace varnolex {

/// What the four inputs of a calculation hold at one moment.
struct InputValues {
    double a = 0;
    double b = 0;
    double c = 0;
    double d = 0;
};

/// The inputs of a tool that calculates. Any thread sets them and any thread reads them, each whole.
class ValueInputs {
public:
    /// Takes a number for the port `inputA` to `inputD`. False, with nothing changed, for any other port and for a
    /// number that isn't finite, with which no calculation can go on.
    bool receive(double value, std::string_view portID) {
        constexpr std::string_view prefix = "input";
        if (!std::isfinite(value) || portID.size() != prefix.size() + 1 || !portID.starts_with(prefix)) return false;
        const auto place = static_cast<std::size_t>(static_cast<unsigned char>(portID.back()) - 'A');
        if (place >= held.size()) return false;
        held[place].set(value);
        return true;
    }

    InputValues values() const { return {held[0].get(), held[1].get(), held[2].get(), held[3].get()}; }

    /// Takes over the numbers in `next` that differ from those in `before`; what arrives for the others meanwhile
    /// isn't lost.
    void apply(const InputValues& next, const InputValues& before) {
        setIfChanged(0, next.a, before.a);
        setIfChanged(1, next.b, before.b);
        setIfChanged(2, next.c, before.c);
        setIfChanged(3, next.d, before.d);
    }

private:
    void setIfChanged(std::size_t place, double next, double before) {
        if (next != before) held[place].set(next);
    }

    std::array<SharedValue<double>, 4> held{};
};

}  // namespace varnolex
