#pragma once

#include <functional>
#include <memory>
#include <thread>

#include "platform/Bell.hpp"
#include "platform/audio/AudioDriver.hpp"
#include "platform/audio/DeviceClock.hpp"
#include "platform/concurrency/Guarded.hpp"
#include "platform/concurrency/LiveValue.hpp"

namespace varnolex {

/// The audio outputs of the system. A thread of its own does what may take time: it loads the audio library when it is
/// first wanted, looks for devices, opens and closes them, and notices when one has gone or asks for nothing any more;
/// what has played is then opened anew.
class SystemAudioOutput final : public AudioOutput {
public:
    using MakeDriver = std::function<std::unique_ptr<AudioDriver>()>;

    /// The driver is made when it is first wanted, on the output's thread. Nothing made: there is no audio.
    explicit SystemAudioOutput(MakeDriver driverMaker = loadedDriver);
    ~SystemAudioOutput() override;

    void run(AudioSource& source, const std::optional<std::string>& deviceUID) override;
    void rest() override;
    bool isRunning() const override { return running.get(); }
    std::vector<AudioOutputDevice> devices() override;

    /// The driver in the library beside the program; nothing when it can't be loaded.
    static std::unique_ptr<AudioDriver> loadedDriver();

private:
    struct Wish {
        AudioSource* source = nullptr;
        std::optional<std::string> deviceUID{};
        bool looksForDevices = false;
        bool isNew = false;
        bool isEnd = false;
    };

    /// Between the device and the source: tells the time of the frames, and that there are calls.
    class Feed final : public AudioFeed {
    public:
        void prepare(double sampleRate) override;
        void fill(std::span<float> frames, std::optional<Nanoseconds> age) noexcept override;

        /// Set while nothing is open.
        AudioSource* source = nullptr;
        SharedValue<std::uint64_t> calls{0};

    private:
        DeviceClock clock{1};
    };

    template <class Edit>
    void wish(Edit&& edit);
    void serve();
    void fulfil(const Wish& wish);
    void open();
    bool isPlaying();
    bool mayOpenAnew() const;

    const MakeDriver makeDriver;
    Guarded<Wish> wished;
    Guarded<std::vector<AudioOutputDevice>> found;
    SharedValue<bool> running{false};
    bool hasLooked = false;
    Bell bell;

    // The thread's own. The driver ends before what it plays.
    Feed feed;
    bool isOpened = false;
    HostTime lastOpening = 0;
    std::uint64_t knownCalls = 0;
    HostTime lastKnownCall = 0;
    std::unique_ptr<AudioDriver> driver;
    Wish present;

    std::thread thread;
};

}  // namespace varnolex
