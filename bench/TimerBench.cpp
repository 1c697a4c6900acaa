#include <poll.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <stdexcept>
#include <thread>

#include "bench/Figures.hpp"
#include "cli/PatchSource.hpp"
#include "endpoints/memory/MemoryService.hpp"
#include "platform/RealRuntime.hpp"
#include "tools/endpoints/MidiOutTool.hpp"

namespace varnolex::bench {
namespace {

/// A MIDI clock at 120 beats a minute.
constexpr double period = 60e9 / 120 / 24;

/// Moments of ticks, in nanoseconds of the monotonic clock.
using Ticks = std::vector<double>;

double now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

/// How late each tick is against the grid of the period through the most punctual one, sorted. A clock that drifts gets
/// later and later, and one that leaves a tick out is late by a whole period from there on.
std::vector<double> latenessOf(const Ticks& ticks) {
    std::vector<double> lateness;
    for (std::size_t index = 0; index < ticks.size(); ++index)
        lateness.push_back(ticks[index] - static_cast<double>(index) * period);
    std::ranges::sort(lateness);
    const double earliest = lateness.front();
    for (double& each : lateness) each -= earliest;
    return lateness;
}

/// The floor: a thread that waits for one timer and does nothing else, asking for the same priority.
void tickBare(std::size_t count, Ticks& ticks) {
    prctl(PR_SET_TIMERSLACK, 1, 0, 0, 0);
    sched_param priority{};
    priority.sched_priority = 5;
    pthread_setschedparam(pthread_self(), SCHED_FIFO, &priority);
    const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
    const double start = now() + period;
    for (std::size_t index = 0; index < count; ++index) {
        const double due = start + static_cast<double>(index) * period;
        itimerspec setting{};
        setting.it_value.tv_sec = static_cast<time_t>(due / 1e9);
        setting.it_value.tv_nsec = static_cast<long>(std::fmod(due, 1e9));
        timerfd_settime(timer, TFD_TIMER_ABSTIME, &setting, nullptr);
        std::uint64_t expirations = 0;
        if (::read(timer, &expirations, sizeof expirations) > 0) ticks.push_back(now());
    }
    ::close(timer);
}

/// The clock tool of a running studio, heard at the destination.
void tickTool(std::size_t count, Ticks& ticks) {
    RealRuntime runtime;
    const RuntimeScope runtimeScope(runtime);
    MemoryService service;
    const MIDIServiceScope serviceScope(service);
    ModularEngine engine;
    service.MIDIClientCreateWithBlock("Varnolex", nullptr, engine.clientRef);
    const auto modular = loadPatch({.file = {}, .text = "clock -> out", .studio = {}}, engine);
    const MIDIEndpointRef destination = service.plugDestination({.displayName = "Out"});
    std::int32_t uniqueID = 0;
    service.MIDIObjectGetIntegerProperty(destination, kMIDIPropertyUniqueID, uniqueID);
    service.listen(destination, [&](const PacketListView& list) {
        for (const Packet& packet : list)
            if (packet.bytes.front() == 0xF8 && ticks.size() < count) ticks.push_back(now());
    });
    for (const auto& node : modular->nodes) {
        if (auto* output = dynamic_cast<MidiOutTool*>(node->tool.get())) output->connectToDestination(uniqueID);
        if (Transport* transport = node->tool->transport()) transport->startPlaying();
    }
    const WorkItem end = runtime.mainQueue().after(
        Nanoseconds(static_cast<std::int64_t>(period * static_cast<double>(count + 20))), [&] { runtime.stopMain(); });
    runtime.runMain();
    engine.removeModular(*modular);
}

/// Keeps every core at work while it lives.
class Burden {
public:
    explicit Burden(bool isOn) {
        for (unsigned core = 0; isOn && core < std::thread::hardware_concurrency(); ++core)
            workers.emplace_back([this] {
                while (!isOver.load(std::memory_order_relaxed)) keep(isOver);
            });
    }
    ~Burden() {
        isOver = true;
        for (std::thread& worker : workers) worker.join();
    }
    Burden(const Burden&) = delete;
    Burden& operator=(const Burden&) = delete;

private:
    std::atomic<bool> isOver{false};
    std::vector<std::thread> workers;
};

void measure(std::size_t count, bool isBusy, Figures& figures) {
    const Burden burden(isBusy);
    Ticks bare;
    Ticks tool;
    bare.reserve(count);
    tool.reserve(count);
    std::thread floor([&] { tickBare(count, bare); });
    tickTool(count, tool);
    floor.join();
    if (tool.size() != count || bare.size() != count)
        throw std::runtime_error("a tick is missing: " + std::to_string(tool.size()) + " of " + std::to_string(count));
    const auto late = latenessOf(tool);
    const auto bareLate = latenessOf(bare);
    const auto add = [&](const char* name, double share) {
        const auto place = static_cast<std::size_t>(share * static_cast<double>(count - 1));
        figures.push_back({std::string("timers: clock at 120 BPM, ") + (isBusy ? "busy" : "idle") + " cores, " + name,
                           late[place] / 1e3, "us late", "bare timerfd, us", bareLate[place] / 1e3,
                           Figure::Limit::ratio, 1.05, "the clock is as steady as the machine can be"});
    };
    add("p50", 0.5);
    add("p99", 0.99);
}

}  // namespace

void measureTimers(const Effort& effort, Figures& figures) {
    const auto count = static_cast<std::size_t>((effort.isQuick ? 5e9 : 60e9) / period);
    measure(count, false, figures);
    measure(count, true, figures);
}

}  // namespace varnolex::bench
