#pragma once

#include <atomic>

namespace varnolex {

/// Wakes one thread that waits for a descriptor, at most one system call for each time that it sleeps. What was done
/// before `ring` is seen by the thread behind its next `listen`.
class Bell {
public:
    /// Throws `std::system_error` when the process has no descriptor left.
    Bell();
    ~Bell();
    Bell(const Bell&) = delete;
    Bell& operator=(const Bell&) = delete;

    /// Any thread.
    void ring() noexcept;

    /// The woken thread: until `listen` ringing costs nothing, since the thread is about to look anyway.
    void mute() noexcept { isRung.exchange(true); }

    /// The woken thread, before it looks at what it was rung for: whoever rings from now on wakes it again.
    void listen() noexcept;

    /// Readable when it was rung.
    int descriptor() const { return event; }

private:
    const int event;
    std::atomic<bool> isRung{false};
};

}  // namespace varnolex
