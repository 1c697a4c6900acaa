#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include "platform/HostTime.hpp"
#include "platform/InlineTask.hpp"
#include "platform/TaskSchedule.hpp"
#include "platform/ThreadAlarm.hpp"
#include "platform/concurrency/Guarded.hpp"

namespace varnolex {

/// Serves the real queues of one thread: its own one, or the main thread. What any thread may call (`push`, `cancel`,
/// `ring`) takes a short lock, allocates nothing in steady state and enters the kernel only to wake a
/// sleeping server.
class QueueServer {
public:
    enum class Drive {
        /// The server has a thread of its own.
        thread,
        /// The main thread serves it, out of `runMain` or of an event loop that watches `descriptor`.
        loop
    };

    explicit QueueServer(Drive drive);
    ~QueueServer();

    /// Starts a thread that serves until `close`. `isTiming` asks for real-time scheduling; the result says whether
    /// it was granted.
    bool startThread(const std::string& name, bool isTiming);

    /// Any thread. 0, which stands for nothing, once the server is closed.
    TaskSchedule::Ticket push(const void* owner, HostTime deadline, HostTime period, Task task);

    /// Any thread.
    void cancel(TaskSchedule::Ticket ticket);

    /// Any thread: calls off all that is pending for `owner`, or for everybody when null.
    void cancelAll(const void* owner);

    /// Wakes the server, or makes it look once more before it sleeps. Any thread.
    void ring();

    /// Refuses new work, waits for the running task and drops what is pending. Not from a task of this server.
    void close();

    /// The serving thread, not from inside a task: runs the first task that was due at `limit`. False when there
    /// is none.
    bool runOne(HostTime limit);

    /// The serving thread: sets the alarm for the next deadline. False when something is due already.
    bool prepareSleep();

    /// The serving thread: waits for the alarm or the bell.
    void sleep();

    /// The main thread: takes note of an alarm or bell that went off, without waiting. Only with `Drive::loop`.
    void acknowledge();

    /// A descriptor that is readable from an alarm or bell until `acknowledge`. Only with `Drive::loop`.
    int descriptor() const;

private:
    struct Loop;

    struct Schedule {
        Schedule() : tasks(1024) {}
        TaskSchedule tasks;
        /// Whoever schedules for an earlier time wakes the server. 0 while it is awake and will look anyway. A server
        /// that another loop drives counts as asleep from the start.
        HostTime sleepsUntil = ~HostTime{0};
        bool isClosed = false;
    };

    void serve();

    Guarded<Schedule> schedule;
    /// Null for a server that has its own thread, which sleeps on `alarm`.
    const std::unique_ptr<Loop> loop;
    ThreadAlarm alarm;
    /// The serving thread's own.
    HostTime sleepEnd = 0;
    std::atomic<bool> isClosing{false};
    std::thread thread;
};

}  // namespace varnolex
