#pragma once

#include <memory>

#include "platform/audio/AudioDriver.hpp"

namespace varnolex {

/// The clients of the JACK server that have audio inputs.
std::unique_ptr<AudioDriver> makeJackAudioDriver();

}  // namespace varnolex
