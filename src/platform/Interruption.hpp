#pragma once

namespace varnolex {

/// Turns SIGINT and SIGTERM into a question that long work asks between its steps, so that it can end cleanly. A
/// second signal ends the process at once. One at a time, on the main thread.
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// Whether a signal has come since the object was made.
    bool isRequested() const;
};

/// Marks a stretch of work on the main thread that can't be ended from within, such as a user's script: a signal that
/// comes meanwhile ends the process at once, with status 1.
class UninterruptibleWork {
public:
    UninterruptibleWork();
    ~UninterruptibleWork();
    UninterruptibleWork(const UninterruptibleWork&) = delete;
    UninterruptibleWork& operator=(const UninterruptibleWork&) = delete;

private:
    const int former;
};

}  // namespace varnolex
