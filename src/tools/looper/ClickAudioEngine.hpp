#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/MainThreadCall.hpp"
#include "platform/audio/AudioOutput.hpp"
#include "platform/concurrency/LiveValue.hpp"
#include "platform/concurrency/Mailbox.hpp"

namespace varnolex {

/// The metronome of every looper of the session: short tones on an audio output, an accented one for the first beat of
/// a bar. Where no device answers there is no sound, and nobody waits. Main thread unless it is said.
class ClickAudioEngine final : private AudioSource {
public:
    explicit ClickAudioEngine(std::unique_ptr<AudioOutput> audioOutput);

    /// The engine of the session, as installed by the innermost living `ClickAudioEngineScope`; null where there is
    /// none. Any thread.
    static ClickAudioEngine* shared();

    /// Counts those who may click; as long as there is one, a device is kept open.
    void start();
    void stop();
    int activeConsumers() const { return consumers; }

    /// 1 is the full volume. Any thread.
    void setVolume(double factor);

    /// Takes the device with this UID from now on; none, or an empty one, is the system's default. One that isn't there
    /// is remembered for the next start.
    void selectDevice(const std::optional<std::string>& uid);
    const std::optional<std::string>& selectedDeviceUID() const { return selected; }
    std::vector<AudioOutputDevice> availableDevices() { return output->devices(); }

    /// Any thread.
    bool isRunning() const { return output->isRunning(); }

    /// Clicks a period of the device and a millisecond after `time`, or now and behind the clicks that wait when that
    /// is over. A `time` of 0 or far from now means now. While no device plays the click is left out, and the device is
    /// asked for again. Any thread: no allocation, no wait.
    void click(bool isAccent, HostTime time = 0) noexcept;

private:
    struct Click {
        HostTime time = 0;
        bool isAccent = false;
    };

    void prepare(double framesASecond) override;
    void render(std::span<float> frames, HostTime start) noexcept override;
    std::size_t placeOf(const Click& click, HostTime start) const;
    void update();
    void tryAgain();

    SharedValue<float> volume{0.8F};
    Mailbox<Click> pending{64};

    // The device's thread.
    double sampleRate = 44100;
    std::size_t longestPeriod = 0;
    /// What was taken from the mailbox ahead of its time.
    std::optional<Click> waiting;
    std::vector<float> accentBuffer;
    std::vector<float> regularBuffer;
    /// What sounds, and how much of it has sounded.
    const std::vector<float>* playing = nullptr;
    std::size_t position = 0;

    // Main thread.
    int consumers = 0;
    std::optional<std::string> selected;
    HostTime lastTry = 0;
    MainThreadCall askAgain{[this] { tryAgain(); }};

    // Ends first, since it plays the rest.
    const std::unique_ptr<AudioOutput> output;
};

/// Makes an engine the session's as long as the scope lives.
class ClickAudioEngineScope {
public:
    explicit ClickAudioEngineScope(ClickAudioEngine& engine);
    ~ClickAudioEngineScope();
    ClickAudioEngineScope(const ClickAudioEngineScope&) = delete;
    ClickAudioEngineScope& operator=(const ClickAudioEngineScope&) = delete;

private:
    ClickAudioEngine* const former;
};

}  // namespace varnolex
