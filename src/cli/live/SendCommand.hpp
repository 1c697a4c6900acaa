#pragma once

#include <string>

#include "endpoints/ServiceChoice.hpp"

namespace varnolex {

struct SendOptions {
    MIDIServiceKind service = MIDIServiceKind::automatic;
    std::string endpoint;
    std::string input = "-";
};

/// `varnolex send`: plays recorded MIDI to a destination, paced by its times. When it is interrupted the notes that
/// sound are ended.
void runSend(const SendOptions& options);

}  // namespace varnolex
