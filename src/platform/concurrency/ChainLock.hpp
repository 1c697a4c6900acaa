#pragma once

#include <atomic>
#include <cstdint>

namespace varnolex {

/// The lock that a walk holds from its entry to its end. Recursive: the thread that holds it passes through with
/// a comparison. A thread that has to wait lends its priority to the holder (the kernel knows the holder by the
/// lock's word), so that a timer of low priority can't keep the input thread waiting behind something else.
class ChainLock {
public:
    ChainLock() = default;
    ChainLock(const ChainLock&) = delete;
    ChainLock& operator=(const ChainLock&) = delete;

    /// Whether the calling thread holds the lock: then it may go on without taking it again.
    bool isHeldByCaller() const noexcept { return (word.load(std::memory_order_relaxed) & holderMask) == threadID; }

    void lock() noexcept {
        if (isHeldByCaller()) {
            ++depth;
            return;
        }
        if (threadID == unasked) threadID = askThreadID();
        std::uint32_t free = 0;
        if (!word.compare_exchange_strong(free, threadID, std::memory_order_seq_cst)) lockContended();
    }

    /// Takes the lock if nobody else holds it.
    bool try_lock() noexcept {
        if (isHeldByCaller()) {
            ++depth;
            return true;
        }
        if (threadID == unasked) threadID = askThreadID();
        std::uint32_t free = 0;
        return word.compare_exchange_strong(free, threadID, std::memory_order_seq_cst);
    }

    void unlock() noexcept {
        if (depth > 0) {
            --depth;
            return;
        }
        std::uint32_t self = threadID;
        if (!word.compare_exchange_strong(self, 0, std::memory_order_seq_cst)) unlockContended();
    }

    /// True when nobody held the lock at the moment of the look. Whoever has replaced something that walks read
    /// (sequentially consistent) and then sees the lock idle knows that no walk still uses the old thing: a walk
    /// that was inside has left, and one that enters later reads the new.
    bool wasIdle() const noexcept { return word.load(std::memory_order_seq_cst) == 0; }

private:
    static std::uint32_t askThreadID() noexcept;
    void lockContended() noexcept;
    void unlockContended() noexcept;

    /// What of the word is the holder's id; the kernel keeps the bits above it.
    static constexpr std::uint32_t holderMask = 0x3FFF'FFFF;

    /// Stands for a thread that has taken no lock yet; no holder has this number.
    static constexpr std::uint32_t unasked = ~std::uint32_t{0};

    static inline thread_local constinit std::uint32_t threadID = unasked;

    /// The holder's kernel thread id, 0 when free; the kernel adds a bit of its own while others wait.
    std::atomic<std::uint32_t> word{0};

    /// How often the holder has entered again. Touched by the holder only.
    std::uint32_t depth = 0;
};

}  // namespace varnolex
