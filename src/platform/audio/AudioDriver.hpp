#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/audio/AudioOutput.hpp"

namespace varnolex {

/// What fills the periods of a device.
class AudioFeed {
public:
    virtual ~AudioFeed() = default;

    /// Called before the first `fill` of a device, never during one. In frames a second.
    virtual void prepare(double sampleRate) = 0;

    /// Fills all of `frames`, each from -1 to 1. `age` is how long ago their period began by the device's own clock,
    /// where it has one that is more even than the calls. The device's real-time thread: no allocation, no wait.
    virtual void fill(std::span<float> frames, std::optional<Nanoseconds> age) noexcept = 0;
};

/// The audio system as a library gives it: every operation may take its time. One thread.
class AudioDriver {
public:
    virtual ~AudioDriver() = default;

    virtual std::vector<AudioOutputDevice> devices() = 0;

    /// Opens the device with this UID, or the default one, prepares the feed and lets it be heard. False when there
    /// is no such device or it can't be opened. Nothing else is open.
    virtual bool open(const std::optional<std::string>& deviceUID, AudioFeed& feed) = 0;

    virtual void close() = 0;

    /// Whether what was opened still plays.
    virtual bool isOpen() = 0;
};

}  // namespace varnolex
