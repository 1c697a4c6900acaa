#pragma once

#include "endpoints/ServiceChoice.hpp"

namespace varnolex {

/// `varnolex list`: the sources and destinations of the MIDI service, with their unique IDs.
void runList(MIDIServiceKind service, bool json);

}  // namespace varnolex
