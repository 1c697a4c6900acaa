#pragma once

#include <cstdint>
#include <vector>

#include "endpoints/alsa/AlsaPorts.hpp"

struct _snd_seq;

namespace varnolex {

/// The ports of other clients that a client may connect to: neither the system's own nor those that aren't for others.
/// Main thread.
std::vector<AlsaPortInfo> alsaForeignPorts(_snd_seq* sequencer);

/// The clients that are connected to a source. Main thread.
std::vector<std::uint8_t> alsaListeners(_snd_seq* sequencer, AlsaAddress source);

/// Whether a client's ports give what comes to them to those who are connected to them, as those of the system do that
/// have no device. Main thread.
bool alsaPassesOn(_snd_seq* sequencer, int client);

}  // namespace varnolex
