#pragma once

#include <atomic>
#include <cstdint>

namespace varnolex {

/// How often something was changed that others have copied: a look at it tells whether the copy is old, and costs no
/// more than the look.
class ChangeCount {
public:
    /// Any thread, behind the change.
    void add() noexcept { count.fetch_add(1, std::memory_order_release); }

    /// Any thread. Once it is true, `get` is to be asked.
    bool isBeyond(std::uint64_t seen) const noexcept { return count.load(std::memory_order_relaxed) != seen; }

    /// Any thread, ahead of the copying: the copy has all changes that are counted in it, and perhaps newer ones.
    std::uint64_t get() const noexcept { return count.load(std::memory_order_acquire); }

private:
    /// A reader that has seen nothing yet stands at 0.
    std::atomic<std::uint64_t> count{1};
};

}  // namespace varnolex
