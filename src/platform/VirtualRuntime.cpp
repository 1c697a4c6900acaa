#include "platform/VirtualRuntime.hpp"

#include <algorithm>
#include <cassert>

#include "platform/RandomGenerator.hpp"
#include "platform/TaskSchedule.hpp"

namespace varnolex {

namespace {

/// How many tasks `postToMain` holds until the main queue takes them.
constexpr std::size_t mailCapacity = 4096;

}  // namespace

/// The clock, the schedule of all queues and the chance of one virtual runtime. Its queues share it, so that one that
/// outlives the runtime finds it closed.
class VirtualRuntime::Simulation {
public:
    explicit Simulation(std::uint64_t seed) : random(seed) {}

    /// 0, which stands for nothing, once the runtime has gone.
    TaskSchedule::Ticket schedule(const void* owner, HostTime deadline, HostTime period, Task&& task) {
        return closed ? 0 : tasks.push(owner, deadline, period, now, std::move(task));
    }

    bool postMail(Task&& task) {
        if (closed || mailWaiting >= mailCapacity) {
            ++mailLost;
            return false;
        }
        schedule(&mailWaiting, now, 0, std::move(task));
        ++mailWaiting;
        return true;
    }

    void cancel(TaskSchedule::Ticket ticket) {
        Task ended;
        tasks.cancel(ticket, ended);
    }

    void drop(const void* owner) {
        std::uint32_t cursor = 0;
        for (bool more = true; more;) {
            Task ended;
            more = tasks.cancelSome(owner, cursor, ended);
        }
    }

    void close() {
        closed = true;
        drop(nullptr);
        mainQueue.reset();
    }

    void runUntil(HostTime time) {
        assert(!tasks.isRunning() && "a task can't run the simulation that runs it");
        for (;;) {
            const TaskSchedule::Begun begun = tasks.begin(time);
            if (!begun.task) break;
            now = begun.time;
            if (begun.owner == &mailWaiting) --mailWaiting;
            const Run untilDone{*this};
            (*begun.task)();
        }
        now = std::max(now, time);
    }

    std::shared_ptr<VirtualQueue> mainQueue;
    RandomGenerator random;
    TaskSchedule tasks{256};
    HostTime now = epoch;
    /// What the calendar is ahead of the whole seconds of the clock.
    std::int64_t calendarLead = -static_cast<std::int64_t>(epoch / ticksPerSecond);
    std::uint64_t mailLost = 0;

private:
    /// Ends a run, also when the task throws.
    struct Run {
        ~Run() {
            Task ended;
            simulation.tasks.finish(simulation.now, ended);
        }
        Simulation& simulation;
    };

    std::size_t mailWaiting = 0;
    bool closed = false;
};

class VirtualRuntime::VirtualQueue final : public Queue {
public:
    VirtualQueue(std::shared_ptr<Simulation> owner, std::string queueLabel)
        : simulation(std::move(owner)), name(std::move(queueLabel)) {}
    ~VirtualQueue() override { simulation->drop(this); }

    const std::string& label() const override { return name; }

    void async(Task task) override { simulation->schedule(this, simulation->now, 0, std::move(task)); }

    WorkItem at(HostTime deadline, Task task) override {
        return {weak_from_this(), simulation->schedule(this, deadline, 0, std::move(task))};
    }

    RepeatingTimer repeating(HostTime first, Nanoseconds period, Task task) override {
        const auto ticks = static_cast<HostTime>(std::max<Nanoseconds::rep>(period.count(), 1));
        const HostTime start = first == 0 ? simulation->now : first;
        return RepeatingTimer(WorkItem(weak_from_this(), simulation->schedule(this, start, ticks, std::move(task))));
    }

protected:
    void cancel(std::uint64_t ticket) override { simulation->cancel(ticket); }

private:
    std::shared_ptr<Simulation> simulation;
    std::string name;
};

VirtualRuntime::VirtualRuntime(std::uint64_t seed) : simulation(std::make_shared<Simulation>(seed)) {
    simulation->mainQueue = std::make_shared<VirtualQueue>(simulation, "com.varnolex.main");
}

VirtualRuntime::~VirtualRuntime() { simulation->close(); }

HostTime VirtualRuntime::hostTime() const { return simulation->now; }

std::int64_t VirtualRuntime::calendarSeconds() const {
    return static_cast<std::int64_t>(simulation->now / ticksPerSecond) + simulation->calendarLead;
}

void VirtualRuntime::setCalendar(std::int64_t seconds) { simulation->calendarLead += seconds - calendarSeconds(); }

Queue& VirtualRuntime::mainQueue() { return *simulation->mainQueue; }

std::shared_ptr<Queue> VirtualRuntime::makeQueue(std::string label, QueuePriority) {
    return std::make_shared<VirtualQueue>(simulation, std::move(label));
}

bool VirtualRuntime::postToMain(Task task) { return simulation->postMail(std::move(task)); }

std::uint64_t VirtualRuntime::lostMainTasks() const { return simulation->mailLost; }

std::uint64_t VirtualRuntime::randomBits() { return simulation->random.next(); }

UUID VirtualRuntime::makeUUID() { return simulation->random.nextUUID(); }

void VirtualRuntime::runUntil(HostTime time) { simulation->runUntil(time); }

std::size_t VirtualRuntime::pendingItems() const { return simulation->tasks.size(); }

}  // namespace varnolex
