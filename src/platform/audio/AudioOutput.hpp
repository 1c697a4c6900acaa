#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/HostTime.hpp"

namespace varnolex {

/// An audio output of the system.
struct AudioOutputDevice {
    /// Stays the same from session to session.
    std::string uid;
    std::string name;
    bool isDefault = false;

    bool operator==(const AudioOutputDevice&) const = default;
};

/// What is to be heard.
class AudioSource {
public:
    virtual ~AudioSource() = default;

    /// Called before the first `render` of a device, never during one. In frames a second.
    virtual void prepare(double sampleRate) = 0;

    /// Fills all of `frames`, each from -1 to 1. `start` is when the device's time came to the first of them; it goes
    /// on evenly from call to call, however late the calls are. The device's real-time thread: no allocation, no wait.
    virtual void render(std::span<float> frames, HostTime start) noexcept = 0;
};

/// Where a source is heard: one device at a time, the same on all its channels. No operation but the end waits for a
/// device, which may take seconds to open; where there is none, nothing is heard. Main thread unless it is said.
class AudioOutput {
public:
    virtual ~AudioOutput() = default;

    /// Lets a source be heard on the device with this UID, or on the system's default one. Again: changes the device,
    /// or tries once more when it couldn't be opened. The source must live until the output has ended.
    virtual void run(AudioSource& source, const std::optional<std::string>& deviceUID) = 0;

    /// Closes the device.
    virtual void rest() = 0;

    /// Whether a device plays. Any thread.
    virtual bool isRunning() const = 0;

    /// The system's outputs as they were found last; the first call, and each `run`, has them looked for.
    virtual std::vector<AudioOutputDevice> devices() = 0;
};

}  // namespace varnolex
