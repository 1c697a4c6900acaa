#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/audio/AudioOutput.hpp"

namespace varnolex {

/// The audio system as a library gives it: every operation may take its time. One thread.
class AudioDriver {
public:
    virtual ~AudioDriver() = default;

    virtual std::vector<AudioOutputDevice> devices() = 0;

    /// Opens the device with this UID, or the default one, prepares the source and lets it be heard. False when there
    /// is no such device or it can't be opened. Nothing else is open.
    virtual bool open(const std::optional<std::string>& deviceUID, AudioSource& source) = 0;

    virtual void close() = 0;

    /// Whether what was opened still plays.
    virtual bool isOpen() = 0;
};

}  // namespace varnolex
