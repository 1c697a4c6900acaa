#include "platform/RealRuntime.hpp"

#include <algorithm>
#include <atomic>
#include <cassert>
#include <chrono>
#include <optional>
#include <thread>

#include "platform/MonotonicTime.hpp"
#include "platform/QueueServer.hpp"
#include "platform/RandomGenerator.hpp"
#include "platform/RandomSeed.hpp"
#include "platform/concurrency/Mailbox.hpp"

namespace varnolex {

namespace {

constexpr std::size_t mailCapacity = 4096;

/// The calling thread's own, seeded at its first draw.
RandomGenerator& threadGenerator() {
    static thread_local constinit std::optional<RandomGenerator> generator;
    if (!generator) generator.emplace(randomSeed());
    return *generator;
}

class RealQueue final : public Queue {
public:
    RealQueue(std::shared_ptr<QueueServer> servedBy, std::string queueLabel)
        : server(std::move(servedBy)), name(std::move(queueLabel)) {}
    ~RealQueue() override { server->cancelAll(this); }

    const std::string& label() const override { return name; }

    void async(Task task) override { server->push(this, 0, 0, std::move(task)); }

    WorkItem at(HostTime deadline, Task task) override {
        return {weak_from_this(), server->push(this, deadline, 0, std::move(task))};
    }

    RepeatingTimer repeating(HostTime first, Nanoseconds period, Task task) override {
        const auto ticks = static_cast<HostTime>(std::max<Nanoseconds::rep>(period.count(), 1));
        const HostTime start = first == 0 ? monotonicTime() : first;
        return RepeatingTimer(WorkItem(weak_from_this(), server->push(this, start, ticks, std::move(task))));
    }

protected:
    void cancel(std::uint64_t ticket) override { server->cancel(ticket); }

private:
    std::shared_ptr<QueueServer> server;
    std::string name;
};

}  // namespace

class RealRuntime::Implementation {
public:
    Implementation() {
        isRealTime = timing->startThread("varnolex-timing", true);
        normal->startThread("varnolex-normal", false);
    }

    ~Implementation() {
        timing->close();
        normal->close();
        main->close();
    }

    /// Runs what has come in so far, or until `isOver` says true between two tasks. False when it may have left
    /// something. A round is bounded, so that neither mail nor queue can shut the other out.
    template <class IsOver>
    bool runRound(IsOver isOver) {
        const HostTime now = monotonicTime();
        isInRound = true;
        const bool isAllDone = takeMail(isOver);
        while (!isOver() && main->runOne(now)) {
        }
        isInRound = false;
        return isAllDone && !isOver();
    }

    /// Leaves the descriptor so that another loop is told of what is left and of what comes.
    void rest(bool isAllDone) {
        if (!main->prepareSleep() || !isAllDone) main->ring();
    }

    const std::thread::id mainThread = std::this_thread::get_id();
    std::shared_ptr<QueueServer> main = std::make_shared<QueueServer>(QueueServer::Drive::loop);
    std::shared_ptr<QueueServer> timing = std::make_shared<QueueServer>(QueueServer::Drive::thread);
    std::shared_ptr<QueueServer> normal = std::make_shared<QueueServer>(QueueServer::Drive::thread);
    std::shared_ptr<RealQueue> mainQueue = std::make_shared<RealQueue>(main, "com.varnolex.main");
    Mailbox<Task> mail{mailCapacity};
    /// Whether the bell was rung for letters that the main thread hasn't looked for yet.
    std::atomic<bool> isMailAnnounced{false};
    std::atomic<bool> isStopping{false};
    bool isRealTime = false;
    /// A task of the main thread that runs another loop inside itself isn't overtaken by the tasks behind it.
    bool isInRound = false;

private:
    template <class IsOver>
    bool takeMail(IsOver isOver) {
        isMailAnnounced.exchange(false);
        for (std::size_t count = 0; count < mailCapacity; ++count) {
            Task task;
            if (isOver()) return false;
            if (!mail.take(task)) return true;
            task();
        }
        return false;
    }
};

RealRuntime::RealRuntime() : implementation(std::make_unique<Implementation>()) {}

RealRuntime::~RealRuntime() = default;

HostTime RealRuntime::hostTime() const { return monotonicTime(); }

std::int64_t RealRuntime::calendarSeconds() const {
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::floor<std::chrono::seconds>(sinceEpoch).count();
}

Queue& RealRuntime::mainQueue() { return *implementation->mainQueue; }

bool RealRuntime::isMainThread() const { return std::this_thread::get_id() == implementation->mainThread; }

std::shared_ptr<Queue> RealRuntime::makeQueue(std::string label, QueuePriority priority) {
    const bool isTiming = priority == QueuePriority::timing;
    return std::make_shared<RealQueue>(isTiming ? implementation->timing : implementation->normal, std::move(label));
}

bool RealRuntime::postToMain(Task task) {
    if (!implementation->mail.post(std::move(task))) return false;
    if (!implementation->isMailAnnounced.exchange(true)) implementation->main->ring();
    return true;
}

std::uint64_t RealRuntime::lostMainTasks() const { return implementation->mail.lostLetters(); }

std::uint64_t RealRuntime::randomBits() { return threadGenerator().next(); }

UUID RealRuntime::makeUUID() { return threadGenerator().nextUUID(); }

void RealRuntime::runMain() {
    assert(isMainThread() && !implementation->isInRound);
    const auto isOver = [this] { return implementation->isStopping.load(); };
    while (!isOver()) {
        if (implementation->runRound(isOver) && implementation->main->prepareSleep()) implementation->main->sleep();
    }
    implementation->isStopping.store(false);
    implementation->rest(false);
}

void RealRuntime::stopMain() {
    implementation->isStopping.store(true);
    implementation->main->ring();
}

void RealRuntime::pollMain() {
    assert(isMainThread());
    implementation->main->acknowledge();
    if (implementation->isInRound) return;
    implementation->rest(implementation->runRound([] { return false; }));
}

int RealRuntime::mainWakeDescriptor() const { return implementation->main->descriptor(); }

bool RealRuntime::hasRealTimePriority() const { return implementation->isRealTime; }

}  // namespace varnolex
