#pragma once

#include <utility>

#include "platform/concurrency/LiveValue.hpp"

namespace varnolex {

/// A tool's running state: what it remembers from message to message. It is touched under the walk's lock only
/// (in `process`, or from a queue inside `ToolChain::enter`), so it needs no lock of its own. The main thread can
/// ask for it to be forgotten, which happens before it is next looked at.
template <class State>
class WalkState {
public:
    /// Under the walk's lock.
    State& inWalk() {
        if (stale.get()) [[unlikely]]
            clear();
        return held;
    }

    /// Any thread.
    void forget() { stale.set(true); }

private:
    [[gnu::noinline]] void clear() {
        if (stale.exchange(false)) held = State{};
    }

    State held{};
    SharedValue<bool> stale{false};
};

}  // namespace varnolex
