#include <pthread.h>
#include <sys/prctl.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <future>
#include <stdexcept>
#include <thread>

#include "bench/Figures.hpp"
#include "cli/PatchSource.hpp"
#include "endpoints/memory/MemoryService.hpp"
#include "platform/RealRuntime.hpp"
#include "tools/endpoints/MidiOutTool.hpp"

namespace varnolex::bench {
namespace {

/// The clock tool's tick at 120 beats a minute, in whole microseconds as the tool has it.
constexpr double period = 20'833'000;

/// The ticks of one clock.
struct Ticks {
    /// When the first one was due, or, of the tool, was asked for: just before.
    double start = 0;
    /// Moments, in nanoseconds of the monotonic clock.
    std::vector<double> times;
};

double now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

/// How late each tick is against the grid of the period from the start, in order. A clock that drifts gets later and
/// later, and one that leaves a tick out is late by a whole period from there on.
std::vector<double> latenessOf(const Ticks& ticks) {
    std::vector<double> lateness;
    for (std::size_t index = 0; index < ticks.times.size(); ++index)
        lateness.push_back(ticks.times[index] - ticks.start - static_cast<double>(index) * period);
    return lateness;
}

/// How much later the clock is in its last fifth than in its first, by the medians.
double driftOf(const std::vector<double>& lateness) {
    const auto fifth = static_cast<std::ptrdiff_t>(lateness.size() / 5);
    return medianOf({lateness.end() - fifth, lateness.end()}) - medianOf({lateness.begin(), lateness.begin() + fifth});
}

/// The floor: a thread that waits for one timer and does nothing else, under the conditions of the timing thread: its
/// priority, its slack, and half a period away from it, so that neither is in the other's way.
void tickBare(std::size_t count, std::future<double> toolStart, Ticks& ticks) {
    prctl(PR_SET_TIMERSLACK, 1, 0, 0, 0);
    sched_param priority{};
    priority.sched_priority = 5;
    pthread_setschedparam(pthread_self(), SCHED_FIFO, &priority);
    const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
    ticks.start = toolStart.get() + 1.5 * period;
    for (std::size_t index = 0; index < count; ++index) {
        const double due = ticks.start + static_cast<double>(index) * period;
        itimerspec setting{};
        setting.it_value.tv_sec = static_cast<time_t>(due / 1e9);
        setting.it_value.tv_nsec = static_cast<long>(std::fmod(due, 1e9));
        timerfd_settime(timer, TFD_TIMER_ABSTIME, &setting, nullptr);
        std::uint64_t expirations = 0;
        if (::read(timer, &expirations, sizeof expirations) > 0) ticks.times.push_back(now());
    }
    ::close(timer);
}

/// The clock tool of a running studio, heard at the destination.
void tickTool(std::size_t count, std::promise<double> start, Ticks& ticks) {
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
        for (const Packet& packet : list) {
            if (packet.bytes.front() != 0xF8 || ticks.times.size() == count) continue;
            ticks.times.push_back(now());
            if (ticks.times.size() == 1) start.set_value(ticks.times.front());
        }
    });
    for (const auto& node : modular->nodes)
        if (auto* output = dynamic_cast<MidiOutTool*>(node->tool.get())) output->connectToDestination(uniqueID);
    ticks.start = now();
    pressStart(*modular);
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
    bare.times.reserve(count);
    tool.times.reserve(count);
    std::promise<double> start;
    std::thread floor(tickBare, count, start.get_future(), std::ref(bare));
    tickTool(count, std::move(start), tool);
    floor.join();
    auto late = latenessOf(tool);
    auto bareLate = latenessOf(bare);
    const std::string name = std::string("timers: clock at 120 BPM, ") + (isBusy ? "busy" : "idle") + " cores, ";
    const double drift = driftOf(late);
    if (tool.times.size() != count || std::abs(drift) > period / 2)
        throw std::runtime_error(name + "a tick is missing");
    figures.push_back({name + "drift", std::abs(drift) / 1e3, "us", "bare timerfd, us",
                       std::abs(driftOf(bareLate)) / 1e3, Figure::Limit::value, 50,
                       "the clock stays in time with the others"});
    std::ranges::sort(late);
    std::ranges::sort(bareLate);
    const auto add = [&](const char* quantile, double share) {
        const auto place = static_cast<std::size_t>(share * static_cast<double>(count - 1));
        figures.push_back({name + quantile, late[place] / 1e3, "us late", "bare timerfd, us", bareLate[place] / 1e3,
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
