#pragma once

#include <functional>
#include <memory>
#include <thread>

#include "platform/Bell.hpp"
#include "platform/audio/AudioDriver.hpp"
#include "platform/concurrency/Guarded.hpp"
#include "platform/concurrency/LiveValue.hpp"

namespace varnolex {

/// The audio outputs of the system. A thread of its own does what may take time: it loads the audio library when it is
/// first wanted, looks for devices, opens and closes them, and notices when one has gone.
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

    template <class Edit>
    void wish(Edit&& edit);
    void serve();
    void fulfil(const Wish& wish);

    const MakeDriver makeDriver;
    Guarded<Wish> wished;
    Guarded<std::vector<AudioOutputDevice>> found;
    SharedValue<bool> running{false};
    bool hasLooked = false;
    Bell bell;

    // The thread's own.
    std::unique_ptr<AudioDriver> driver;
    Wish present;

    std::thread thread;
};

}  // namespace varnolex
