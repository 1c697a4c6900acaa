#pragma once

#include <memory>
#include <string>

#include "platform/HostTime.hpp"

namespace varnolex {

/// A thread of its own for work that may never end. Somebody hands it one piece of work at a time and waits; whoever
/// has waited enough gives the thread up, and it comes to its end alone, whenever that is.
class ScriptThread {
public:
    /// What is done on the thread.
    class Work {
    public:
        virtual ~Work() = default;
        virtual void run() noexcept = 0;
    };

    enum class Turn {
        /// The work is done; the thread is free.
        ended,
        /// The work waits for `resume`.
        paused,
        /// The time is over.
        running,
    };

    /// `name` is cut at 15 characters by the system.
    explicit ScriptThread(const std::string& name);

    /// Ends the thread if it is free, and gives it up otherwise.
    ~ScriptThread();
    ScriptThread(const ScriptThread&) = delete;
    ScriptThread& operator=(const ScriptThread&) = delete;

    /// Begins work on a free thread. The work must live until it has ended, or until it is given up with what
    /// holds it.
    void begin(Work& work);

    /// Waits for the work's end or pause.
    Turn wait(Nanoseconds atMost);

    /// Lets paused work go on.
    void resume();

    /// The work itself, on its thread: gives the turn to who waits, until `resume`. At once when it was given up.
    void pause();

    /// Waits no longer for the work that runs. The thread keeps `alive` until the work has ended. Nothing else may be
    /// asked of this object then.
    void giveUp(std::shared_ptr<void> alive);

    bool wasGivenUp() const;

    /// Whether a thread that was given up still runs, in the whole process: then the process must end without its
    /// usual clearing up. Any thread.
    static bool isAnyLeftBehind();

private:
    struct State;

    const std::shared_ptr<State> state;
};

}  // namespace varnolex
