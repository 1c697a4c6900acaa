#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include "bench/Figures.hpp"
#include "bench/HostileProgram.hpp"
#include "bench/LiveStage.hpp"
#include "endpoints/tap/TapServer.hpp"
#include "platform/RealRuntime.hpp"
#include "platform/VirtualRuntime.hpp"
#include "platform/ports/MemoryMessagePorts.hpp"
#include "platform/ports/SocketMessagePorts.hpp"

// A busy session that goes on for long: played, watched, with endpoints that come and go and with a driver among
// hostile programs. What it holds must not grow.

namespace varnolex::bench {
namespace {

using namespace std::chrono_literals;

/// Tells of all that is sent to the stage's destination.
class StageTap final : public DestinationTap {
public:
    explicit StageTap(LiveStage& watchedStage) : stage(watchedStage) {}

    void setListener(Listener listener) override {
        stage.service.listen(stage.synth, [this, tell = std::move(listener),
                                           uniqueID = stage.uniqueIDOf(stage.synth)](const PacketListView& list) {
            if (isWanted) tell(uniqueID, list);
        });
    }
    void start(std::int32_t uniqueID) override {
        if (uniqueID == stage.uniqueIDOf(stage.synth)) isWanted = true;
    }
    void stop(std::int32_t uniqueID) override {
        if (uniqueID == stage.uniqueIDOf(stage.synth)) isWanted = false;
    }

private:
    LiveStage& stage;
    std::atomic<bool> isWanted{false};
};

/// What the process holds, each the most in a half of the time.
struct Held {
    double resident = 0;
    double heap = 0;
    double descriptors = 0;

    void look() {
        resident = std::max(resident, residentMegabytes());
        heap = std::max(heap, static_cast<double>(mallinfo2().uordblks) / 1e6);
        const auto count = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
        descriptors = std::max(descriptors, static_cast<double>(count));
    }
};

/// Everything of a session but the runtime and the hostile program, for as long as it lives.
class Session {
public:
    Session(MessagePorts& ports, Nanoseconds duration, Nanoseconds notePeriod) : driver(ports, tap) {
        Runtime& runtime = Runtime::current();
        std::string failure;
        if (!driver.start(failure)) throw std::runtime_error(failure);
        stage.watch(&ports);
        const HostTime begin = runtime.hostTime();
        half = begin + static_cast<HostTime>(duration.count()) / 2;
        players = runtime.makeQueue("com.varnolex.player", QueuePriority::timing);
        player = players->repeating(0, notePeriod, [this] { playNext(); });
        visitors = runtime.mainQueue().repeating(begin + ticksPerSecond, 1s, [this] { letVisitorsComeAndGo(); });
        // The first tenth is for what a session needs to get going.
        looks = runtime.mainQueue().repeating(begin + static_cast<HostTime>(duration.count()) / 10,
                                              std::max<Nanoseconds>(duration / 200, 1s), [this] { look(); });
    }

    /// At the end. Throws when something has come to a stand on the way.
    void report(const std::string& name, Figures& figures) {
        player.reset();
        if (!isAlive) throw std::runtime_error(name + ": the monitor stands still");
        const auto add = [&](const char* what, double first, double second, const char* unit, double budget) {
            figures.push_back({name + ", " + what, std::max(0.0, second - first), unit,
                               "most in the first half, " + std::string(unit), first, Figure::Limit::value, budget,
                               "it may stay on for as long as the tour lasts"});
        };
        add("resident memory grown", halves[0].resident, halves[1].resident, "MB", 2);
        add("heap grown", halves[0].heap, halves[1].heap, "MB", 0.5);
        add("descriptors grown", halves[0].descriptors, halves[1].descriptors, "", 4);
    }

private:
    /// Chords of four notes, with a wheel between them.
    void playNext() {
        std::array<std::uint8_t, packetListCapacity> memory;
        PacketListBuilder list(memory);
        const HostTime now = Runtime::current().hostTime();
        const auto root = static_cast<std::uint8_t>(36 + turn / 3 % 40);
        for (std::uint8_t note = 0; note < 4 && turn % 3 != 1; ++note)
            list.add(now, std::array<std::uint8_t, 3>{static_cast<std::uint8_t>(turn % 3 == 0 ? 0x90 : 0x80),
                                                      static_cast<std::uint8_t>(root + 5 * note), 64});
        if (turn % 3 == 1) list.add(now, std::array<std::uint8_t, 3>{0xB0, 1, static_cast<std::uint8_t>(turn % 128)});
        stage.service.send(stage.keys, list.list());
        ++turn;
    }

    void letVisitorsComeAndGo() {
        if (visitor != 0) {
            stage.service.unplug(visitor);
            visitor = 0;
            return;
        }
        const std::string name = "Visitor " + std::to_string(++visits % 8);
        visitor = visits % 2 == 0 ? stage.service.plugSource({.displayName = name})
                                  : stage.service.plugDestination({.displayName = name});
    }

    void look() {
        const std::size_t shown = stage.keysShown();
        const std::size_t copies = stage.synthShown();
        isAlive = isAlive && shown > lastShown && copies > lastCopies;
        lastShown = shown;
        lastCopies = copies;
        halves[Runtime::current().hostTime() < half ? 0 : 1].look();
    }

    LiveStage stage{
        "in -> [out, latch -> transpose(12) -> out, arp(up, 1/8, oct:2) -> transpose(-12) -> out]\nclock -> out"};
    StageTap tap{stage};
    TapServer driver;
    HostTime half = 0;
    std::array<Held, 2> halves;
    bool isAlive = true;
    std::size_t lastShown = 0;
    std::size_t lastCopies = 0;
    std::uint64_t turn = 0;
    MIDIEndpointRef visitor = 0;
    std::size_t visits = 0;
    std::shared_ptr<Queue> players;
    RepeatingTimer player;
    RepeatingTimer visitors;
    RepeatingTimer looks;
};

/// The user's folder of sockets, for this run.
struct SocketFolder {
    ~SocketFolder() { std::filesystem::remove_all(path); }
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("varnolex-soak-" + std::to_string(::getpid()));
};

void soakInRealTime(Nanoseconds duration, Figures& figures) {
    RealRuntime runtime;
    const RuntimeScope scope(runtime);
    const SocketFolder folder;
    SocketMessagePorts ports(folder.path);
    Session session(ports, duration, 2ms);
    std::atomic<bool> isOver{false};
    std::size_t attacks = 0;
    std::thread hostile([&] {
        SocketMessagePorts ownPorts(folder.path);
        HostileProgram program(ownPorts, folder.path);
        for (; !isOver; std::this_thread::sleep_for(5ms)) program.attack();
        attacks = program.attacks();
    });
    const WorkItem end = runtime.mainQueue().after(duration, [&] { runtime.stopMain(); });
    runtime.runMain();
    isOver = true;
    hostile.join();
    session.report("soak: " + std::to_string(duration / 1s) + " s, " + std::to_string(attacks) + " attacks", figures);
}

void soakInVirtualTime(Nanoseconds duration, Figures& figures) {
    VirtualRuntime runtime;
    const RuntimeScope scope(runtime);
    MemoryMessagePorts ports;
    Session session(ports, duration, 50ms);
    HostileProgram program(ports, {});
    const RepeatingTimer hostile = runtime.mainQueue().repeating(0, 10s, [&] { program.attack(); });
    runtime.runFor(duration);
    session.report("soak: " + std::to_string(duration / 1h) + " h of virtual time", figures);
}

}  // namespace

void measureSoak(const Effort& effort, Figures& figures) {
    soakInRealTime(effort.isLong ? 600s : effort.isQuick ? 6s : 30s, figures);
    soakInVirtualTime(effort.isLong ? 24h : 1h, figures);
}

}  // namespace varnolex::bench
