#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

#include "platform/HostTime.hpp"
#include "platform/InlineTask.hpp"
#include "platform/UUID.hpp"

namespace varnolex {

class Queue;

/// One scheduled piece of work, so that it can be called off. A small copyable value; an empty one does nothing.
/// `cancel` may be called from any thread, doesn't allocate and doesn't wait: work that has begun runs to its end.
class WorkItem {
public:
    WorkItem() = default;
    WorkItem(std::weak_ptr<Queue> onQueue, std::uint64_t withTicket) : queue(std::move(onQueue)), ticket(withTicket) {}

    void cancel();

private:
    std::weak_ptr<Queue> queue;
    std::uint64_t ticket = 0;
};

/// A repeating timer that stops when it goes away or is reset.
class RepeatingTimer {
public:
    RepeatingTimer() = default;
    explicit RepeatingTimer(WorkItem tickItem) : item(std::move(tickItem)), active(true) {}
    RepeatingTimer(RepeatingTimer&& other) noexcept
        : item(std::move(other.item)), active(std::exchange(other.active, false)) {}
    RepeatingTimer& operator=(RepeatingTimer&& other) noexcept;
    ~RepeatingTimer() { reset(); }

    void reset();
    explicit operator bool() const { return active; }

private:
    WorkItem item;
    bool active = false;
};

/// A serial queue: its tasks run one after another, never two at once. All operations may be called from any
/// thread; once the queue has reached its working size none of them allocates, and none waits for a task.
/// What is pending when the queue or the runtime goes is dropped; a task that has begun runs to its end.
/// Scheduling for a runtime that has gone does nothing. A task must not throw.
class Queue : public std::enable_shared_from_this<Queue> {
public:
    virtual ~Queue() = default;

    virtual const std::string& label() const = 0;

    /// Runs the task behind everything that is already due.
    virtual void async(Task task) = 0;

    /// Runs the task once, at the deadline, or as soon as possible when that has passed.
    virtual WorkItem at(HostTime deadline, Task task) = 0;

    /// Runs the task at `first`, `first + period`, `first + 2 * period` and so on. Deadlines are absolute, so a
    /// late run doesn't move the later ones, and late ticks are made up for; only behind a standstill of more than a
    /// second are they left out. A `first` of 0 means now; of one in the past, one tick comes at once and the next
    /// one on the grid. `period` is at least 1 tick.
    virtual RepeatingTimer repeating(HostTime first, Nanoseconds period, Task task) = 0;

    WorkItem after(Nanoseconds delay, Task task);

protected:
    friend class WorkItem;
    virtual void cancel(std::uint64_t ticket) = 0;
};

/// How urgently a queue's tasks are served. `timing` queues ask for real-time scheduling and go on without it
/// when the system refuses.
enum class QueuePriority { normal, timing };

/// What the process has of its operating system where time, threads, order and chance are concerned: the one
/// source of all four. The real one serves a live session; the virtual one runs tests and renders, where time
/// stands still while code runs and the same input gives the same result.
class Runtime {
public:
    virtual ~Runtime() = default;

    /// The runtime of this process, as installed by the innermost living `RuntimeScope`. One must be installed.
    static Runtime& current() {
        Runtime* const runtime = installed.load(std::memory_order_acquire);
        if (!runtime) [[unlikely]]
            endWithoutRuntime();
        return *runtime;
    }

    /// Whether a scope is open at all: for code that may run before or after a session.
    static bool isInstalled() { return installed.load(std::memory_order_acquire) != nullptr; }

    /// The host clock. Any thread.
    virtual HostTime hostTime() const = 0;

    /// The media clock: monotonic seconds, for displays. Any thread.
    double mediaTime() const { return secondsFromTicks(hostTime()); }

    /// The calendar: whole seconds since 1 January 1970, UTC. It may be set, and so step, while the system runs: for
    /// what people read, never for what is measured. Any thread.
    virtual std::int64_t calendarSeconds() const = 0;

    /// Whether time stands still while code runs, all of it on one thread: then nothing can happen meanwhile.
    virtual bool isSimulated() const = 0;

    /// The queue that owns the model: graph edits, documents, endpoints' lists.
    virtual Queue& mainQueue() = 0;

    /// True on the thread that runs the main queue.
    virtual bool isMainThread() const = 0;

    /// A new serial queue with a label such as "com.varnolex.arp".
    virtual std::shared_ptr<Queue> makeQueue(std::string label, QueuePriority priority) = 0;

    /// Hands a task to the main thread from the processing road: a bounded mailbox, no allocation, no lock, no
    /// wait. False when the mailbox was full: the task is gone and counted. Any thread.
    virtual bool postToMain(Task task) = 0;

    /// How many tasks `postToMain` has lost to a full mailbox.
    virtual std::uint64_t lostMainTasks() const = 0;

    /// 64 random bits. Any thread, no lock, no allocation. With a virtual runtime the sequence follows its seed.
    virtual std::uint64_t randomBits() = 0;

    /// A uniform integer in [low, high], both included. `high` below `low` gives `low`.
    std::int64_t randomInteger(std::int64_t low, std::int64_t high);

    /// A uniform real in [0, 1).
    double randomUnit();

    /// A fresh random (version 4) UUID, of the same sequence. Any thread, no lock, no allocation.
    virtual UUID makeUUID() = 0;

private:
    friend class RuntimeScope;

    [[noreturn]] static void endWithoutRuntime();

    static inline std::atomic<Runtime*> installed{nullptr};
};

/// Makes a runtime the current one for as long as the scope lives, and the former one current again after it.
/// Scopes nest, and belong to the thread that starts and ends the session.
class RuntimeScope {
public:
    explicit RuntimeScope(Runtime& runtime);
    ~RuntimeScope();
    RuntimeScope(const RuntimeScope&) = delete;
    RuntimeScope& operator=(const RuntimeScope&) = delete;

private:
    Runtime* former;
};

/// Asserts that the caller runs on the thread that owns the model.
void assertMainThread();

}  // namespace varnolex
