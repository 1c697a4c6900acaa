#pragma once

#include <cstdint>

namespace varnolex {

/// What a looper is doing.
enum class LooperTransport : std::uint8_t { empty, recording, playing, overdubbing, stopped, counting };

/// Whether what comes is taken into the loop.
constexpr bool isRecording(LooperTransport transport) {
    return transport == LooperTransport::recording || transport == LooperTransport::overdubbing;
}

/// What a looper can be told to do.
enum class LooperAction : std::uint8_t { record, play, overdub, stop, clear };

}  // namespace varnolex
