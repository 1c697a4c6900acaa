#pragma once

#include <mutex>
#include <utility>

#include "platform/concurrency/ShortLock.hpp"

namespace varnolex {

/// A value behind a short lock. `with` hands it to a function that runs under the lock and must be brief: no
/// forwarding, no waiting, no allocation on the processing road.
template <class Value>
class Guarded {
public:
    Guarded() = default;
    explicit Guarded(Value initial) : value(std::move(initial)) {}

    template <class Use>
    decltype(auto) with(Use&& use) {
        const std::scoped_lock hold(lock);
        return std::forward<Use>(use)(value);
    }

    template <class Use>
    decltype(auto) with(Use&& use) const {
        const std::scoped_lock hold(lock);
        return std::forward<Use>(use)(std::as_const(value));
    }

    /// A copy of the value.
    Value get() const {
        return with([](const Value& held) { return held; });
    }

    void set(Value next) {
        with([&](Value& held) { std::swap(held, next); });
    }

    /// Takes the value out and leaves an empty one.
    Value take() {
        Value taken{};
        with([&](Value& held) { std::swap(held, taken); });
        return taken;
    }

private:
    mutable ShortLock lock;
    Value value{};
};

}  // namespace varnolex
