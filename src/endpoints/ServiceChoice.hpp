#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>

#include "endpoints/MIDIService.hpp"

namespace varnolex {

/// Which MIDI service a session runs on.
enum class MIDIServiceKind : std::uint8_t {
    /// The first that answers: JACK, then the ALSA sequencer, then the one inside the process.
    automatic,
    jack,
    alsa,
    memory,
};

/// The service that was asked for doesn't answer. `what()` is the sentence for the user.
class MIDIServiceError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Opens a service. A `Runtime` must be installed and outlive it. Throws `MIDIServiceError` when a certain one was
/// asked for and doesn't answer. Main thread.
std::unique_ptr<MIDIService> openMIDIService(MIDIServiceKind kind);

}  // namespace varnolex
