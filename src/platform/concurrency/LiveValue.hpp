#pragma once

#include <atomic>
#include <bit>
#include <cstdint>
#include <optional>

namespace varnolex {

/// An optional real that one thread sets and others read, each access whole and without a lock. Every double can
/// be held, also one that isn't finite.
class LiveValue {
public:
    void set(std::optional<double> value) noexcept {
        bits.store(value ? canonical(*value) : none, std::memory_order_relaxed);
    }

    bool isSet() const noexcept { return bits.load(std::memory_order_relaxed) != none; }

    std::optional<double> get() const noexcept {
        const std::uint64_t held = bits.load(std::memory_order_relaxed);
        if (held == none) return std::nullopt;
        return std::bit_cast<double>(held);
    }

private:
    /// One of the patterns that mean "not a number", kept for "not set"; a NaN that is set takes another one.
    static constexpr std::uint64_t none = 0x7FF8'0000'DEAD'0001ull;
    static constexpr std::uint64_t plainNaN = 0x7FF8'0000'0000'0000ull;

    static std::uint64_t canonical(double value) noexcept {
        return value != value ? plainNaN : std::bit_cast<std::uint64_t>(value);
    }

    std::atomic<std::uint64_t> bits{none};
};

/// A switch or a number that one thread sets and others read, each access whole; nothing else is ordered by it.
template <class Value>
class SharedValue {
public:
    SharedValue() = default;
    explicit SharedValue(Value initial) : held(initial) {}

    Value get() const noexcept { return held.load(std::memory_order_relaxed); }
    void set(Value value) noexcept { held.store(value, std::memory_order_relaxed); }

    /// Sets the value and returns the one before, as one step.
    Value exchange(Value value) noexcept { return held.exchange(value, std::memory_order_acq_rel); }

    /// Adds to a number and returns the sum, as one step.
    Value add(Value amount) noexcept { return held.fetch_add(amount, std::memory_order_acq_rel) + amount; }

private:
    std::atomic<Value> held{};
};

}  // namespace varnolex
