#include "platform/Bell.hpp"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

namespace varnolex {

Bell::Bell() : event(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
    if (event < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}

Bell::~Bell() { ::close(event); }

void Bell::ring() noexcept {
    if (isRung.exchange(true)) return;
    const std::uint64_t one = 1;
    // Only a counter that is about to overflow refuses, and that one is readable anyway.
    [[maybe_unused]] const auto size = ::write(event, &one, sizeof one);
}

void Bell::listen() noexcept {
    std::uint64_t count = 0;
    // It doesn't block: without a ring there is nothing to read, which is as good.
    [[maybe_unused]] const auto size = ::read(event, &count, sizeof count);
    isRung.exchange(false);
}

}  // namespace varnolex
