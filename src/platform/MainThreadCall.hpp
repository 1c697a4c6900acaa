#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "platform/Runtime.hpp"
#include "platform/concurrency/LiveValue.hpp"

namespace varnolex {

/// Work that any thread may ask the main thread for: done once for however many have asked before it begins, and not at
/// all once this object is gone. Made and ended on the main thread, behind everyone who may still ask.
class MainThreadCall {
public:
    explicit MainThreadCall(std::function<void()> mainThreadWork)
        : state(std::make_shared<State>(std::move(mainThreadWork))) {}
    MainThreadCall(const MainThreadCall&) = delete;
    MainThreadCall& operator=(const MainThreadCall&) = delete;

    /// Any thread; neither waits nor allocates. While the way to the main thread is full the question is forgotten: who
    /// asks should look by itself now and then.
    void ask() {
        if (state->isAsked.exchange(true)) return;
        const bool isPosted = Runtime::current().postToMain([weak = std::weak_ptr(state)] {
            const auto living = weak.lock();
            if (!living) return;
            living->isAsked.exchange(false);
            living->work();
        });
        if (!isPosted) state->isAsked.exchange(false);
    }

private:
    struct State {
        explicit State(std::function<void()> mainThreadWork) : work(std::move(mainThreadWork)) {}
        const std::function<void()> work;
        SharedValue<bool> isAsked{false};
    };

    const std::shared_ptr<State> state;
};

}  // namespace varnolex
