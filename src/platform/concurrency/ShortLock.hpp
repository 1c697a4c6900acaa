#pragma once

#include "platform/concurrency/ChainLock.hpp"

namespace varnolex {

/// A lock for a handful of instructions, with priority inheritance so that a holder that lost the processor in
/// the middle of them gets it back. Uncontended it is two instructions on one word.
class ShortLock {
public:
    void lock() noexcept { held.lock(); }
    void unlock() noexcept { held.unlock(); }

private:
    ChainLock held;
};

}  // namespace varnolex
