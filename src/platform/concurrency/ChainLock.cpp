#include "platform/concurrency/ChainLock.hpp"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace varnolex {

std::uint32_t ChainLock::askThreadID() noexcept { return static_cast<std::uint32_t>(syscall(SYS_gettid)); }

void ChainLock::lockContended() noexcept {
    while (syscall(SYS_futex, &word, FUTEX_LOCK_PI_PRIVATE, 0, nullptr, nullptr, 0) != 0) {
        // A broken word means memory corruption: going on would let two walks into one chain.
        if (errno != EINTR && errno != EAGAIN) std::abort();
    }
    // The lock may have come from a holder that called the kernel, or from one that let go before it was asked.
    handovers.load(std::memory_order_acquire);
    word.load(std::memory_order_acquire);
}

void ChainLock::unlockContended() noexcept {
    handovers.fetch_add(1, std::memory_order_release);
    if (syscall(SYS_futex, &word, FUTEX_UNLOCK_PI_PRIVATE, 0, nullptr, nullptr, 0) != 0) std::abort();
}

}  // namespace varnolex
