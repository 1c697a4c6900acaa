#pragma once

namespace varnolex {

/// Turns SIGINT, SIGTERM and SIGHUP into a question that long work asks between its steps, so that it can end cleanly.
/// A second SIGINT or SIGTERM ends the process at once. One at a time, on the main thread.
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// Whether a signal has come since the object was made.
    bool isRequested() const;

private:
    void (*formerHangUp)(int) = nullptr;
};

/// While it lives, a reader of what the process prints that goes away doesn't end the process with it: for work that
/// leaves notes sounding if it ends unawares. On the main thread.
class BrokenPipesIgnored {
public:
    BrokenPipesIgnored();
    ~BrokenPipesIgnored();
    BrokenPipesIgnored(const BrokenPipesIgnored&) = delete;
    BrokenPipesIgnored& operator=(const BrokenPipesIgnored&) = delete;

private:
    void (*const former)(int);
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
