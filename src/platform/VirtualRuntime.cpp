#include "platform/VirtualRuntime.hpp"

#include <algorithm>
#include <array>
#include <cassert>
#include <vector>

#include "platform/RandomGenerator.hpp"

namespace varnolex {

namespace {

/// How many tasks `postToMain` holds until the main queue takes them.
constexpr std::size_t mailCapacity = 4096;

}  // namespace

/// All queues of one virtual runtime: a pool of entries at lasting addresses, and one heap of small nodes that
/// orders them. Calling an entry off frees it at once and leaves its node behind, which its generation unmasks.
class VirtualRuntime::Simulation {
public:
    explicit Simulation(std::uint64_t seed) : random(seed) { order.reserve(1024); }

    /// The ticket of the new entry, 0 once the runtime has gone.
    std::uint64_t schedule(const Queue* queue, HostTime deadline, HostTime period, Task&& task) {
        if (closed) return 0;
        if (firstFree == none) addChunk();
        const std::uint32_t index = firstFree;
        Entry& entry = entryAt(index);
        firstFree = entry.nextFree;
        entry.task = std::move(task);
        entry.queue = queue;
        entry.period = period;
        entry.state = State::scheduled;
        entry.isMail = false;
        ++living;
        pushNode({std::max(deadline, now), nextSequence++, index, entry.generation});
        // A first tick that has passed is made up for once; those after it keep to their grid.
        entry.nominal = deadline >= now || period == 0 ? deadline : now - (now - deadline) % period;
        return static_cast<std::uint64_t>(entry.generation) << 32 | index;
    }

    bool postMail(const Queue* queue, Task&& task) {
        if (closed || mailWaiting >= mailCapacity) {
            ++mailLost;
            return false;
        }
        const std::uint64_t ticket = schedule(queue, now, 0, std::move(task));
        entryAt(static_cast<std::uint32_t>(ticket)).isMail = true;
        ++mailWaiting;
        return true;
    }

    void cancel(std::uint64_t ticket) {
        const auto index = static_cast<std::uint32_t>(ticket);
        if (index >= chunks.size() * chunkSize) return;
        if (entryAt(index).generation == static_cast<std::uint32_t>(ticket >> 32)) callOff(index);
    }

    void drop(const Queue* queue) {
        for (std::uint32_t index = 0; index < chunks.size() * chunkSize; ++index)
            if (entryAt(index).queue == queue) callOff(index);
    }

    void close() {
        closed = true;
        for (std::uint32_t index = 0; index < chunks.size() * chunkSize; ++index) callOff(index);
        mainQueue.reset();
    }

    void runUntil(HostTime time) {
        assert(!running && "a task can't run the simulation that runs it");
        while (!order.empty() && order.front().time <= time) {
            const Node node = order.front();
            popNode();
            if (entryAt(node.index).generation != node.generation) {
                --staleNodes;
                continue;
            }
            now = node.time;
            run(node.index);
        }
        now = std::max(now, time);
    }

    std::shared_ptr<VirtualQueue> mainQueue;
    RandomGenerator random;
    HostTime now = epoch;
    std::size_t living = 0;
    std::uint64_t mailLost = 0;

private:
    static constexpr std::uint32_t none = ~0u;
    static constexpr std::uint32_t chunkSize = 256;

    enum class State : std::uint8_t { free, scheduled, running, stopped };

    struct Entry {
        Task task;
        const Queue* queue = nullptr;
        /// The deadline on the timer's own grid, which a late start doesn't move.
        HostTime nominal = 0;
        /// 0 for work that runs once.
        HostTime period = 0;
        /// Changes whenever the entry is freed, so that an old ticket finds nothing.
        std::uint32_t generation = 1;
        std::uint32_t nextFree = none;
        State state = State::free;
        bool isMail = false;
    };

    struct Node {
        HostTime time;
        std::uint64_t sequence;
        std::uint32_t index;
        std::uint32_t generation;

        /// The heap keeps its greatest element in front: that is to be the earliest.
        bool operator<(const Node& other) const {
            return time != other.time ? time > other.time : sequence > other.sequence;
        }
    };

    /// Ends the run of an entry, also when the task throws.
    struct Run {
        ~Run() { simulation.finish(index); }
        Simulation& simulation;
        std::uint32_t index;
    };

    Entry& entryAt(std::uint32_t index) { return (*chunks[index / chunkSize])[index % chunkSize]; }

    void addChunk() {
        const auto start = static_cast<std::uint32_t>(chunks.size() * chunkSize);
        chunks.push_back(std::make_unique<std::array<Entry, chunkSize>>());
        for (std::uint32_t index = start + chunkSize; index-- > start;) {
            entryAt(index).nextFree = firstFree;
            firstFree = index;
        }
    }

    void pushNode(Node node) {
        order.push_back(node);
        std::push_heap(order.begin(), order.end());
    }

    void popNode() {
        std::pop_heap(order.begin(), order.end());
        order.pop_back();
    }

    void run(std::uint32_t index) {
        Entry& entry = entryAt(index);
        entry.state = State::running;
        running = true;
        if (entry.isMail) --mailWaiting;
        const Run untilDone{*this, index};
        entry.task();
    }

    void finish(std::uint32_t index) {
        running = false;
        Entry& entry = entryAt(index);
        if (entry.state == State::stopped || entry.period == 0) return release(index);
        entry.nominal += entry.period;
        entry.state = State::scheduled;
        pushNode({entry.nominal, nextSequence++, index, entry.generation});
    }

    void callOff(std::uint32_t index) {
        Entry& entry = entryAt(index);
        if (entry.state == State::running) entry.state = State::stopped;
        if (entry.state != State::scheduled) return;
        if (entry.isMail) --mailWaiting;
        ++staleNodes;
        release(index);
        if (staleNodes > 64 + order.size() / 2) removeStaleNodes();
    }

    void release(std::uint32_t index) {
        Entry& entry = entryAt(index);
        // What the task holds goes last: its destructor may call off, schedule or drop a queue.
        const Task ended = std::move(entry.task);
        entry.queue = nullptr;
        entry.state = State::free;
        // 0 is left out: it marks tickets that stand for nothing.
        if (++entry.generation == 0) entry.generation = 1;
        entry.nextFree = firstFree;
        firstFree = index;
        --living;
    }

    void removeStaleNodes() {
        std::erase_if(order, [&](const Node& node) { return entryAt(node.index).generation != node.generation; });
        std::make_heap(order.begin(), order.end());
        staleNodes = 0;
    }

    std::vector<std::unique_ptr<std::array<Entry, chunkSize>>> chunks;
    std::vector<Node> order;
    std::uint32_t firstFree = none;
    std::uint64_t nextSequence = 0;
    std::size_t staleNodes = 0;
    std::size_t mailWaiting = 0;
    bool running = false;
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

Queue& VirtualRuntime::mainQueue() { return *simulation->mainQueue; }

std::shared_ptr<Queue> VirtualRuntime::makeQueue(std::string label, QueuePriority) {
    return std::make_shared<VirtualQueue>(simulation, std::move(label));
}

bool VirtualRuntime::postToMain(Task task) {
    return simulation->postMail(simulation->mainQueue.get(), std::move(task));
}

std::uint64_t VirtualRuntime::lostMainTasks() const { return simulation->mailLost; }

std::uint64_t VirtualRuntime::randomBits() { return simulation->random.next(); }

void VirtualRuntime::runUntil(HostTime time) { simulation->runUntil(time); }

std::size_t VirtualRuntime::pendingItems() const { return simulation->living; }

}  // namespace varnolex
