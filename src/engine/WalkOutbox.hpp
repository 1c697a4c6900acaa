#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <utility>

#include "engine/ToolChain.hpp"
#include "platform/Runtime.hpp"

namespace varnolex {

/// What a tool's walks gather for the main thread, which is asked once and takes all that has come until then. A member
/// of its tool. The main thread takes it under the walks' lock, so filling it needs no lock of its own and no atomic
/// operation. It doesn't wait for a walk, which a script may hold up for ever, but comes again.
template <class Content>
class WalkOutbox {
public:
    /// `mainThreadWork` gets what was gathered, outside of any walk, and leaves it empty: its memory is used again.
    WalkOutbox(PipeTool& ownerTool, std::function<void(Content&)> mainThreadWork)
        : owner(ownerTool), work(std::move(mainThreadWork)) {}

    /// In a walk: what the main thread hasn't taken yet, to be added to.
    Content& inWalk() {
        if (!isAsked) [[unlikely]]
            ask();
        return gathered;
    }

    /// In a walk: whether something waits of which the main thread couldn't be told, because the way to it was full.
    /// Looking at it again asks again.
    bool isRefused() const { return refused; }

private:
    /// Longer than any walk that isn't held up, and too short to be noticed.
    static constexpr std::chrono::milliseconds untilNextTry{1};

    [[gnu::noinline]] void ask() {
        isAsked = Runtime::current().postToMain(collecting());
        refused = !isAsked;
    }

    auto collecting() {
        return [tool = owner.weak_from_this(), this] {
            if (const auto living = tool.lock()) collect();
        };
    }

    void collect() {
        if (takeIfFree())
            work(taken);
        else
            Runtime::current().mainQueue().after(untilNextTry, collecting());
    }

    bool takeIfFree() {
        const auto take = [this] {
            std::swap(gathered, taken);
            isAsked = false;
        };
        if (const auto chain = owner.chain()) return chain->enterIfFree(take);
        // Nobody else touches it.
        take();
        return true;
    }

    PipeTool& owner;
    const std::function<void(Content&)> work;

    // Touched under the walks' lock only.
    Content gathered{};
    bool isAsked = false;
    bool refused = false;

    /// The main thread's.
    Content taken{};
};

}  // namespace varnolex
