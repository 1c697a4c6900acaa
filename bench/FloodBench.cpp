#include <pthread.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "bench/Figures.hpp"
#include "bench/LiveStage.hpp"
#include "platform/RealRuntime.hpp"

// One source floods while another one is played through a studio: what happens to the music, to the monitor and to the
// memory.

namespace varnolex::bench {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t floodRate = 200'000;
constexpr std::size_t notesRate = 1000;

/// Sleeps to the moments of a grid, in ticks of the monotonic clock.
void sleepUntil(HostTime time) {
    const timespec moment{static_cast<time_t>(time / ticksPerSecond), static_cast<long>(time % ticksPerSecond)};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &moment, nullptr);
}

void send(MemoryService& service, MIDIEndpointRef source, HostTime time, std::span<const std::uint8_t> bytes) {
    std::array<std::uint8_t, packetListCapacity> memory;
    PacketListBuilder list(memory);
    list.add(time, bytes);
    service.send(source, list.list());
}

/// A thread that plays a source with real-time priority, as a MIDI system's thread does.
class Player {
public:
    template <class Work>
    explicit Player(Work work)
        : thread([this, work] {
              sched_param priority{};
              priority.sched_priority = 5;
              pthread_setschedparam(pthread_self(), SCHED_FIFO, &priority);
              work(isOver);
          }) {}
    ~Player() { end(); }
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    void end() {
        isOver = true;
        if (thread.joinable()) thread.join();
    }

private:
    std::atomic<bool> isOver{false};
    std::thread thread;
};

/// The messages of the music: notes one after the other, each begun and ended.
std::array<std::uint8_t, 3> noteNumber(std::size_t index) {
    return {static_cast<std::uint8_t>(index % 2 == 0 ? 0x90 : 0x80), static_cast<std::uint8_t>(index / 2 % 100), 64};
}

/// What came out of the studio.
struct Heard {
    std::size_t count = 0;
    std::size_t wrong = 0;
    std::vector<double> microseconds;
};

/// What a while of playing came to.
struct Passage {
    std::size_t played = 0;
    std::size_t flooded = 0;
    double seconds = 0;
    std::size_t shown = 0;
    HostTime longestPause = 0;
};

void runFor(RealRuntime& runtime, Nanoseconds duration) {
    const WorkItem end = runtime.mainQueue().after(duration, [&] { runtime.stopMain(); });
    runtime.runMain();
}

/// Plays numbered notes for a while, beside a flood if wanted.
Passage play(RealRuntime& runtime, LiveStage& stage, Nanoseconds duration, bool isFlooded) {
    Passage passage;
    MemoryService& service = stage.service;
    const std::size_t shownBefore = stage.keysShown();
    stage.takeLongestPause();
    const MIDIEndpointRef flooder = isFlooded ? service.plugSource({.displayName = "Flooder"}) : 0;
    const HostTime start = runtime.hostTime();
    Player player([&](const std::atomic<bool>& isOver) {
        for (HostTime next = start; !isOver; next += ticksPerSecond / notesRate, ++passage.played) {
            sleepUntil(next);
            send(service, stage.keys, runtime.hostTime(), noteNumber(passage.played));
        }
    });
    Player flood([&](const std::atomic<bool>& isOver) {
        for (HostTime next = start; isFlooded && !isOver; next += ticksPerSecond / 1000) {
            sleepUntil(next);
            const std::array<std::uint8_t, 3> change{0xB0, 1, 64};
            for (std::size_t each = 0; each < floodRate / 1000; ++each, ++passage.flooded)
                send(service, flooder, runtime.hostTime(), change);
        }
    });
    runFor(runtime, duration);
    flood.end();
    player.end();
    passage.seconds = static_cast<double>(runtime.hostTime() - start) / ticksPerSecond;
    // What was played last is shown by the next drain.
    runFor(runtime, 200ms);
    if (isFlooded) service.unplug(flooder);
    passage.shown = stage.keysShown() - shownBefore;
    passage.longestPause = stage.takeLongestPause();
    return passage;
}

}  // namespace

void measureFlood(const Effort& effort, Figures& figures) {
    RealRuntime runtime;
    const RuntimeScope runtimeScope(runtime);
    LiveStage stage("in -> transpose(12) -> transpose(-12) -> out(noteOffVel:true)");
    stage.watch(nullptr);
    Heard heard;
    stage.service.listen(stage.synth, [&](const PacketListView& list) {
        const HostTime now = runtime.hostTime();
        for (const Packet& packet : list) {
            heard.wrong += !std::ranges::equal(packet.bytes, noteNumber(heard.count++));
            heard.microseconds.push_back(static_cast<double>(now - packet.timeStamp) / 1e3);
        }
    });
    const Nanoseconds duration = effort.isQuick ? 2s : 10s;
    const auto quantile = [&](double share) {
        std::ranges::sort(heard.microseconds);
        return heard.microseconds.at(static_cast<std::size_t>(share * static_cast<double>(heard.count - 1)));
    };
    const auto begin = [&] {
        heard = {};
        heard.microseconds.reserve(notesRate * 12);
    };
    begin();
    const Passage calm = play(runtime, stage, duration, false);
    const std::array calmTimes{quantile(0.5), quantile(0.99)};
    // What a flood needs to work with is there after its first moments.
    begin();
    play(runtime, stage, 1s, true);
    const double memory = residentMegabytes();
    begin();
    const Passage flood = play(runtime, stage, duration, true);

    const auto add = [&](const char* name, double value, const char* unit, Figure::Limit limit, double budget,
                         const char* meaning, const char* floorName = "", double floor = 0) {
        figures.push_back({std::string("flood: ") + name, value, unit, floorName, floor, limit, budget, meaning});
    };
    constexpr auto value = Figure::Limit::value;
    constexpr auto ratio = Figure::Limit::ratio;
    const auto count = [](std::size_t number) { return static_cast<double>(number); };
    add("a message of the flood comes every", flood.seconds * 1e6 / count(flood.flooded), "us", value, 5.1,
        "200,000 messages a second from one source");
    add("lost or wrong in the studio", count(flood.played - heard.count + heard.wrong), "messages", value, 0,
        "a mad controller takes no note away");
    add("through the studio, p50", quantile(0.5), "us", ratio, 1.25, "and none is late", "without flood, us",
        calmTimes[0]);
    add("through the studio, p99", quantile(0.99), "us", ratio, 2, "and none is late", "without flood, us",
        calmTimes[1]);
    add("of the studio's input, not shown", count(flood.played - flood.shown), "messages", value, 0,
        "the monitor still shows what is played");
    add("longest pause of the monitor", count(flood.longestPause) / 1e6, "ms", value, 250, "and stays alive",
        "without flood, ms", count(calm.longestPause) / 1e6);
    add("growth of resident memory", std::max(0.0, residentMegabytes() - memory), "MB", value, 4,
        "however long it floods");
}

}  // namespace varnolex::bench
