#pragma once

#include <memory>

#include "platform/audio/AudioDriver.hpp"

namespace varnolex {

/// The outputs of PulseAudio and, where that doesn't answer, of ALSA.
std::unique_ptr<AudioDriver> makeRtAudioDriver();

}  // namespace varnolex
