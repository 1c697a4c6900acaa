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
    // The kernel wrote the word: this takes up, for the memory model, what the last holder let go of.
    word.load(std::memory_order_acquire);
}

void ChainLock::unlockContended() noexcept {
    // The kernel's write of the word is no release that the memory model knows of: this one, of the same value, is.
    word.fetch_or(0, std::memory_order_release);
    if (syscall(SYS_futex, &word, FUTEX_UNLOCK_PI_PRIVATE, 0, nullptr, nullptr, 0) != 0) std::abort();
}

}  // namespace varnolex
