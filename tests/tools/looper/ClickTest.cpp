#include <gmock/gmock.h>
#include <jack/jack.h>

#include <cmath>
#include <map>
#include <thread>

#include "endpoints/jack/JackServer.hpp"
#include "platform/RealRuntime.hpp"
#include "platform/Sanitizer.hpp"
#include "platform/audio/DeviceClock.hpp"
#include "platform/audio/MemoryAudioOutput.hpp"
#include "platform/audio/SystemAudioOutput.hpp"
#include "support/AllocationTrap.hpp"
#include "tools/looper/ClickAudioEngine.hpp"
#include "tools/looper/LooperProbe.hpp"

namespace varnolex::testing {
namespace {

using ::testing::ElementsAreArray;

struct HeardClick {
    double second;
    double frequency;
    double peak;
    /// What is left of it after 10 ms.
    double decay;
};

/// Finds the clicks in a recording, measured by the zero crossings and by the peaks of two stretches.
std::vector<HeardClick> clicksIn(const std::vector<float>& frames, double rate) {
    const auto length = static_cast<std::size_t>(0.02 * rate);
    const auto peakOf = [&](std::size_t from, double seconds) {
        float peak = 0;
        for (std::size_t at = from; at < from + static_cast<std::size_t>(seconds * rate); ++at)
            peak = std::max(peak, std::abs(frames[at]));
        return static_cast<double>(peak);
    };
    std::vector<HeardClick> found;
    for (std::size_t at = 1; at + length < frames.size(); ++at) {
        if (frames[at] == 0) continue;
        std::vector<double> crossings;
        for (std::size_t next = at; next + 1 < at + length; ++next)
            if (frames[next] < 0 && frames[next + 1] >= 0)
                crossings.push_back(static_cast<double>(next) + frames[next] / double{frames[next] - frames[next + 1]});
        const double cycles = static_cast<double>(crossings.size()) - 1;
        found.push_back({static_cast<double>(at - 1) / rate, cycles * rate / (crossings.back() - crossings.front()),
                         peakOf(at, 0.001), peakOf(at + length / 2, 0.001) / peakOf(at, 0.001)});
        at += length;
    }
    return found;
}

void PrintTo(const HeardClick& click, std::ostream* out) {
    *out << click.second << " s: " << click.frequency << " Hz, peak " << click.peak << ", decay " << click.decay;
}

MATCHER_P2(IsClick, isAccent, volume, "") {
    const double frequency = isAccent ? 1800 : 1000;
    return std::abs(arg.frequency - frequency) <= 5 && std::abs(arg.decay - std::exp(-2)) <= 0.01 &&
           std::abs(arg.peak - volume * std::exp(-200 / (4 * frequency))) <= 0.02;
}

/// As many beats in bars of four.
std::vector<::testing::Matcher<HeardClick>> clicksOf(int beats, double volume) {
    std::vector<::testing::Matcher<HeardClick>> expected;
    for (int beat = 0; beat < beats; ++beat) expected.emplace_back(IsClick(beat % 4 == 0, volume));
    return expected;
}

const std::vector<AudioOutputDevice> twoDevices{{"a", "First", false}, {"b", "Second", true}};

class ClickTest : public ::testing::TestWithParam<double> {
protected:
    void playOn(std::vector<AudioOutputDevice> devices) {
        auto made = std::make_unique<MemoryAudioOutput>(GetParam(), 256, std::move(devices));
        output = made.get();
        engine.emplace(std::move(made));
        scope.emplace(*engine);
    }
    ~ClickTest() override { probe.tool->stop(); }

    LooperProbe probe;
    MemoryAudioOutput* output = nullptr;
    std::optional<ClickAudioEngine> engine;
    std::optional<ClickAudioEngineScope> scope;
};

TEST_P(ClickTest, clicksOnEveryBeatAndAccentsTheBar) {
    playOn(twoDevices);
    probe.set("metronomeVolume", 0.5);
    probe.set("metronome", true);
    probe.tick(30);
    probe.looper().requestAction(LooperAction::record);
    probe.tick(24 * 6 + 2);
    probe.set("metronome", false);
    const auto clicks = clicksIn(output->heard(), GetParam());
    ASSERT_THAT(clicks, ElementsAreArray(clicksOf(7, 0.5)));
    // The first step of a recording leads to tick 1, so the second beat comes a tick early.
    for (std::size_t beat = 2; beat < clicks.size(); ++beat)
        EXPECT_NEAR(clicks[beat].second - clicks[beat - 1].second, 24 * 0.02, 1.5 / GetParam());
    EXPECT_EQ(output->usedDevice(), "b");
    EXPECT_FALSE(engine->isRunning()) << "nobody wants it any more";
}

TEST_P(ClickTest, countsInWithoutAMetronome) {
    playOn(twoDevices);
    probe.set("metronomeDeviceUID", "a");
    probe.set("preCountBars", 1);
    probe.looper().requestAction(LooperAction::record);
    probe.tick(24 * 6);
    EXPECT_EQ(clicksIn(output->heard(), GetParam()).size(), 4u);
    EXPECT_EQ(output->usedDevice(), "a");
    probe.set("metronomeDeviceUID", "gone");
    EXPECT_EQ(engine->selectedDeviceUID(), "gone");
    EXPECT_TRUE(engine->isRunning()) << "on the device that is there";
    probe.set("metronomeDeviceUID", "");
    EXPECT_EQ(output->usedDevice(), "b") << "the default one";
    probe.set("preCountBars", 0);
    probe.set("metronomeDeviceUID", "gone");
    probe.set("metronome", true);
    EXPECT_FALSE(engine->isRunning());
}

TEST_P(ClickTest, goesOnWithoutSound) {
    playOn({});
    probe.set("metronome", true);
    probe.set("recordLengthBars", 1);
    probe.looper().requestAction(LooperAction::record);
    probe.tick(96);
    EXPECT_EQ(probe.transport(), LooperTransport::playing);
    EXPECT_FALSE(engine->isRunning());
    const AllocationTrap trap;
    for (int count = 0; count < 200; ++count) engine->click(true);
    EXPECT_EQ(trap.count(), 0u);
    EXPECT_EQ(engine->activeConsumers(), 1);
}

INSTANTIATE_TEST_SUITE_P(Rates, ClickTest, ::testing::Values(44100.0, 48000.0));

/// A device of 48000 frames a second in periods of 256, which asks when the test does.
class AskedOutput final : public AudioOutput {
public:
    void run(AudioSource& source, const std::optional<std::string>&) override {
        heardSource = &source;
        source.prepare(48000);
    }
    void rest() override {}
    bool isRunning() const override { return true; }
    std::vector<AudioOutputDevice> devices() override { return {}; }

    void ask() {
        heard.resize(heard.size() + 256);
        heardSource->render(std::span(heard).last(256), clock.timeOf(256, Runtime::current().hostTime()));
    }
    std::vector<float> heard;

private:
    AudioSource* heardSource = nullptr;
    DeviceClock clock{48000};
};

constexpr std::int64_t millisecond = 1'000'000;
HostTime timeOfPeriod(int index) { return static_cast<HostTime>(std::llround(index * 256e9 / 48000)); }

TEST(ClickTimes, areThoseOfTheStampsWhateverIsLate) {
    struct Case {
        const char* name;
        /// How long after its time stamp the beat is worked on.
        std::int64_t (*handling)(int beat);
        /// When the period is asked for, counted in periods.
        double (*asking)(int period);
    };
    const auto atOnce = [](int) -> std::int64_t { return 0; };
    const auto punctual = [](int period) -> double { return period; };
    const std::array cases{
        Case{"everything is punctual", atOnce, punctual},
        Case{"messages late", [](int beat) { return beat * 7 % 10 * millisecond / 10; }, punctual},
        Case{"messages ahead", [](int beat) { return -(beat * 7 % 10) * 3 * millisecond; }, punctual},
        Case{"device late", atOnce, [](int period) { return period + period * 7 % 10 * 0.09; }},
        Case{"device in bursts", atOnce, [](int period) -> double { return period | 7; }},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        VirtualRuntime runtime;
        const RuntimeScope scope(runtime);
        auto made = std::make_unique<AskedOutput>();
        AskedOutput& output = *made;
        ClickAudioEngine engine(std::move(made));
        engine.start();
        const HostTime begin = runtime.hostTime();
        std::multimap<HostTime, std::function<void()>> plan;
        for (int period = 0; period < 1200; ++period)
            plan.emplace(begin + static_cast<HostTime>(each.asking(period) * 256e9 / 48000), [&] { output.ask(); });
        std::vector<HostTime> stamps;
        for (int beat = 0; beat < 12; ++beat) {
            const HostTime stamp = stamps.emplace_back(begin + static_cast<HostTime>(500 + 437 * beat) * millisecond);
            plan.emplace(stamp + static_cast<HostTime>(each.handling(beat)),
                         [&, stamp] { engine.click(false, stamp); });
        }
        for (const auto& [time, act] : plan) {
            runtime.runFor(Nanoseconds(time - runtime.hostTime()));
            act();
        }
        const auto clicks = clicksIn(output.heard, 48000);
        ASSERT_EQ(clicks.size(), stamps.size());
        for (std::size_t beat = 0; beat < clicks.size(); ++beat)
            EXPECT_NEAR((clicks[beat].second - secondsFromTicks(stamps[beat] - begin)) * 48000, 256 + 48, 1.01);
    }
}

TEST(ClickTimes, areNowWithoutAUsableStamp) {
    VirtualRuntime runtime;
    const RuntimeScope scope(runtime);
    runtime.runFor(std::chrono::seconds(20));
    struct Case {
        const char* name;
        std::int64_t stampFromNow;
        int expected;
    };
    for (const Case& each :
         {Case{"none", -static_cast<std::int64_t>(runtime.hostTime()), 256 + 48},
          Case{"of another day", -10'000 * millisecond, 256 + 48},
          Case{"of the far future", 10'000 * millisecond, 256 + 48}, Case{"late", -100 * millisecond, 0}}) {
        SCOPED_TRACE(each.name);
        auto made = std::make_unique<AskedOutput>();
        AskedOutput& output = *made;
        ClickAudioEngine engine(std::move(made));
        engine.start();
        engine.click(true, runtime.hostTime() + static_cast<HostTime>(each.stampFromNow));
        const HostTime begin = runtime.hostTime();
        for (int period = 0; period < 10; ++period) {
            runtime.runFor(Nanoseconds(begin + timeOfPeriod(period) - runtime.hostTime()));
            output.ask();
        }
        const auto clicks = clicksIn(output.heard, 48000);
        ASSERT_EQ(clicks.size(), 1u);
        EXPECT_NEAR(clicks[0].second * 48000, each.expected, 1);
    }
}

/// A device that takes its time, and can be pulled out or hang until it is opened again.
class SlowDriver final : public AudioDriver {
public:
    struct Plug {
        SharedValue<bool> isIn{true};
        SharedValue<bool> hangs{false};
        SharedValue<int> opened{0};
    };
    explicit SlowDriver(Plug& sharedPlug) : plug(sharedPlug) {}
    std::vector<AudioOutputDevice> devices() override { return twoDevices; }
    bool open(const std::optional<std::string>& uid, AudioFeed& feed) override {
        pause(200);
        plug.opened.add(1);
        plug.hangs.set(false);
        if (!plug.isIn.get() || uid == "gone") return false;
        feed.prepare(48000);
        asking = std::jthread([this, &feed](const std::stop_token& end) {
            std::array<float, 256> frames{};
            for (; !end.stop_requested(); pause(5))
                if (!plug.hangs.get()) feed.fill(frames, std::nullopt);
        });
        return true;
    }
    void close() override { asking = {}; }
    bool isOpen() override { return asking.joinable() && plug.isIn.get(); }

private:
    Plug& plug;
    std::jthread asking;
};

template <class Condition>
bool comesTrue(Condition condition) {
    for (int attempt = 0; attempt < 1000 && !condition(); ++attempt) pause(10);
    return condition();
}

TEST(SystemAudioOutput, neverWaitsForADevice) {
    RealRuntime runtime;
    const RuntimeScope scope(runtime);
    SlowDriver::Plug plug;
    ClickAudioEngine engine(std::make_unique<SystemAudioOutput>([&] { return std::make_unique<SlowDriver>(plug); }));
    const HostTime begin = runtime.hostTime();
    engine.start();
    engine.click(true);
    EXPECT_LT(runtime.hostTime() - begin, ticksPerSecond / 10);
    EXPECT_TRUE(comesTrue([&] { return engine.isRunning(); }));
    EXPECT_EQ(engine.availableDevices(), twoDevices);
    plug.isIn.set(false);
    EXPECT_TRUE(comesTrue([&] { return !engine.isRunning(); }));
    plug.isIn.set(true);
    EXPECT_TRUE(comesTrue([&] {
        engine.click(true);
        runtime.pollMain();
        return engine.isRunning();
    })) << "it is asked for again";
    engine.selectDevice("gone");
    engine.stop();
    engine.start();
    EXPECT_TRUE(comesTrue([&] { return !engine.isRunning(); }));
}

TEST(SystemAudioOutput, opensADeviceAnewThatAsksForNothingAnyMore) {
    RealRuntime runtime;
    const RuntimeScope scope(runtime);
    SlowDriver::Plug plug;
    ClickAudioEngine engine(std::make_unique<SystemAudioOutput>([&] { return std::make_unique<SlowDriver>(plug); }));
    engine.start();
    ASSERT_TRUE(comesTrue([&] { return engine.isRunning(); }));
    // Longer than a device is believed without a call.
    pause(2000);
    const int opened = plug.opened.get();
    plug.hangs.set(true);
    EXPECT_TRUE(comesTrue([&] { return plug.opened.get() > opened && engine.isRunning(); }));
}

TEST(SystemAudioOutput, doesWithoutALibraryOrADevice) {
    RealRuntime runtime;
    const RuntimeScope scope(runtime);
    ClickAudioEngine engine(std::make_unique<SystemAudioOutput>([] { return nullptr; }));
    engine.start();
    engine.stop();
    engine.start();
    engine.click(false);
    EXPECT_FALSE(engine.isRunning());
    EXPECT_TRUE(engine.availableDevices().empty());
}

/// Records what a port of the server plays.
class JackEar {
public:
    explicit JackEar(const std::string& port) : client(jack_client_open("ear", JackNoStartServer, nullptr)) {
        frames.reserve(48000 * 20);
        input = jack_port_register(client, "in", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
        jack_set_process_callback(client, &JackEar::hear, this);
        jack_activate(client);
        jack_connect(client, port.c_str(), jack_port_name(input));
    }
    ~JackEar() { jack_client_close(client); }

    /// How far the server's cycles were from where its frames say, at most, in seconds.
    double unevenness() const { return worst.get(); }

    void changePeriod(unsigned count) { jack_set_buffer_size(client, count); }

    std::vector<float> recorded() {
        jack_deactivate(client);
        return frames;
    }

private:
    static int hear(jack_nframes_t count, void* self) {
        auto& ear = *static_cast<JackEar*>(self);
        const auto* const heard = static_cast<const float*>(jack_port_get_buffer(ear.input, count));
        const jack_nframes_t now = jack_last_frame_time(ear.client);
        if (ear.frames.empty()) ear.begin = now;
        ear.compareCycle();
        // A busy machine leaves cycles out.
        const std::size_t place = now - ear.begin;
        if (place + count > ear.frames.capacity()) return 0;
        ear.frames.resize(place + count);
        std::copy_n(heard, count, ear.frames.begin() + static_cast<std::ptrdiff_t>(place));
        return 0;
    }

    void compareCycle() {
        jack_nframes_t frame = 0;
        jack_time_t time = 0, next = 0;
        float period = 0;
        if (jack_get_cycle_times(client, &frame, &time, &next, &period) != 0) return;
        const double passed = static_cast<double>(time - lastTime) / 1e6;
        const double played = static_cast<double>(frame - lastFrame) / static_cast<double>(JackServer::sampleRate);
        if (lastTime != 0) worst.set(std::max(worst.get(), std::abs(passed - played)));
        lastTime = time;
        lastFrame = frame;
    }

    jack_client_t* client;
    jack_port_t* input;
    jack_nframes_t begin = 0;
    jack_nframes_t lastFrame = 0;
    jack_time_t lastTime = 0;
    SharedValue<double> worst{0};
    std::vector<float> frames;
};

TEST(SystemAudioOutput, isHeardOverJack) {
#if defined(VARNOLEX_THREAD_SANITIZER)
    GTEST_SKIP() << "the server's shared memory is unknown to the thread sanitizer";
#endif
    if (!JackServer::isInstalled()) GTEST_SKIP() << "jackd isn't installed";
    JackServer server;
    server.start();
    RealRuntime runtime;
    const RuntimeScope scope(runtime);
    ClickAudioEngine engine(std::make_unique<SystemAudioOutput>());
    engine.selectDevice("jack:system");
    engine.setVolume(0.5);
    engine.start();
    ASSERT_TRUE(comesTrue([&] { return engine.isRunning(); }));
    const auto devices = engine.availableDevices();
    EXPECT_TRUE(std::ranges::any_of(devices, [](const auto& each) { return each.uid == "jack:system"; }));
    // Some servers change it at will.
    JackEar("Varnolex:outport 0").changePeriod(512);
    // A machine that does other things as well keeps the server from its cycles, and the clicks in them from their
    // places: of some rounds one is punctual, unless the server itself never was.
    constexpr int rounds = 30, count = 5;
    constexpr double punctual = 0.003;
    std::vector<HeardClick> clicks;
    double error = 1;
    bool wasEven = false;
    for (int round = 0; round < rounds && error > punctual; ++round) {
        JackEar ear("Varnolex:outport 0");
        pause(100);
        std::vector<HostTime> times;
        for (int beat = 0; beat < count; ++beat, pause(125)) {
            times.push_back(runtime.hostTime());
            engine.click(beat % 4 == 0);
        }
        clicks = clicksIn(ear.recorded(), JackServer::sampleRate);
        wasEven = wasEven || ear.unevenness() < punctual / 3;
        if (!::testing::Matches(ElementsAreArray(clicksOf(count, 0.5)))(clicks)) continue;
        error = 0;
        for (std::size_t beat = 1; beat < count; ++beat) {
            const double distance = secondsFromTicks(times[beat] - times[beat - 1]);
            error = std::max(error, std::abs(clicks[beat].second - clicks[beat - 1].second - distance));
        }
    }
    if (error > punctual && !wasEven) GTEST_SKIP() << "the machine was too busy for the server";
    EXPECT_LE(error, punctual) << ::testing::PrintToString(clicks);
    RecordProperty("greatestErrorMicroseconds", static_cast<int>(error * 1e6));
}

}  // namespace
}  // namespace varnolex::testing
