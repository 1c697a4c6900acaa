#include <jack/jack.h>

#include <cmath>

#include "endpoints/jack/JackServer.hpp"
#include "platform/RealRuntime.hpp"
#include "platform/audio/MemoryAudioOutput.hpp"
#include "platform/audio/SystemAudioOutput.hpp"
#include "support/AllocationTrap.hpp"
#include "tools/looper/ClickAudioEngine.hpp"
#include "tools/looper/LooperProbe.hpp"

namespace varnolex::testing {
namespace {

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

void expectClick(const HeardClick& click, bool isAccent, double volume) {
    EXPECT_NEAR(click.frequency, isAccent ? 1800 : 1000, 5);
    EXPECT_NEAR(click.decay, std::exp(-2), 0.01);
    EXPECT_NEAR(click.peak, volume * std::exp(-200 / (4.0 * (isAccent ? 1800 : 1000))), 0.02);
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
    ASSERT_EQ(clicks.size(), 7u);
    for (std::size_t beat = 0; beat < clicks.size(); ++beat) {
        expectClick(clicks[beat], beat % 4 == 0, 0.5);
        // The first step of a recording leads to tick 1, so the second beat comes a tick early.
        if (beat < 2) continue;
        EXPECT_NEAR(clicks[beat].second - clicks[beat - 1].second, 24 * 0.02, 1.5 / GetParam());
    }
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

/// A device that takes its time, and can be pulled out.
class SlowDriver final : public AudioDriver {
public:
    struct Plug {
        SharedValue<bool> isIn{true};
        SharedValue<int> opened{0};
    };
    explicit SlowDriver(Plug& sharedPlug) : plug(sharedPlug) {}
    std::vector<AudioOutputDevice> devices() override { return twoDevices; }
    bool open(const std::optional<std::string>& uid, AudioSource&) override {
        pause(200);
        plug.opened.add(1);
        return isOn = plug.isIn.get() && uid != "gone";
    }
    void close() override { isOn = false; }
    bool isOpen() override { return isOn && plug.isIn.get(); }

private:
    Plug& plug;
    bool isOn = false;
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

    std::vector<float> recorded() {
        jack_deactivate(client);
        return frames;
    }

private:
    static int hear(jack_nframes_t count, void* self) {
        auto& ear = *static_cast<JackEar*>(self);
        const auto* const heard = static_cast<const float*>(jack_port_get_buffer(ear.input, count));
        if (ear.frames.size() + count <= ear.frames.capacity())
            ear.frames.insert(ear.frames.end(), heard, heard + count);
        return 0;
    }

    jack_client_t* client;
    jack_port_t* input;
    std::vector<float> frames;
};

TEST(SystemAudioOutput, isHeardOverJack) {
#if defined(__SANITIZE_THREAD__)
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
    JackEar ear("Varnolex:outport 0");
    pause(100);
    constexpr int count = 8;
    std::vector<HostTime> times;
    for (int beat = 0; beat < count; ++beat, pause(125)) {
        times.push_back(runtime.hostTime());
        engine.click(beat % 4 == 0);
    }
    const auto clicks = clicksIn(ear.recorded(), JackServer::sampleRate);
    ASSERT_EQ(clicks.size(), std::size_t{count});
    std::vector<double> errors;
    for (std::size_t beat = 0; beat < clicks.size(); ++beat) {
        expectClick(clicks[beat], beat % 4 == 0, 0.5);
        if (beat == 0) continue;
        const double distance = secondsFromTicks(times[beat] - times[beat - 1]);
        errors.push_back(std::abs(clicks[beat].second - clicks[beat - 1].second - distance));
    }
    // A busy machine misses cycles, and what falls into them: not every distance can be right.
    std::ranges::sort(errors);
    EXPECT_LT(errors[errors.size() / 2], 0.006);
    RecordProperty("medianErrorMicroseconds", static_cast<int>(errors[errors.size() / 2] * 1e6));
    RecordProperty("leastErrorMicroseconds", static_cast<int>(errors.front() * 1e6));
}

}  // namespace
}  // namespace varnolex::testing
