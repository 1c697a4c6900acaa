#pragma once

#include <atomic>
#include <memory>
#include <utility>
#include <vector>

namespace varnolex {

/// The slot that holds what a chain does with what leaves it. The main thread replaces the content at any time; a
/// walk reads one pointer and sees the old content, the new one or nothing, each whole. What was replaced is kept
/// until the walks' lock has been seen idle, so a walk that is inside it may finish.
template <class Content>
class ExitSlot {
public:
    ExitSlot() = default;
    ExitSlot(const ExitSlot&) = delete;
    ExitSlot& operator=(const ExitSlot&) = delete;
    ~ExitSlot() { delete current.load(std::memory_order_relaxed); }

    /// Main thread. `content` may be empty.
    void replace(std::unique_ptr<Content> content) {
        if (Content* old = current.exchange(content.release(), std::memory_order_seq_cst)) retired.emplace_back(old);
    }

    /// Main thread: frees what was replaced if `lock` is seen idle. True when nothing is left to free.
    template <class Lock>
    bool reclaim(const Lock& lock) {
        if (!retired.empty() && lock.wasIdle()) retired.clear();
        return retired.empty();
    }

    /// A walk, with its lock held. The content stays valid until the lock is released.
    Content* load() const noexcept { return current.load(std::memory_order_seq_cst); }

private:
    std::atomic<Content*> current{nullptr};
    std::vector<std::unique_ptr<Content>> retired;
};

}  // namespace varnolex
