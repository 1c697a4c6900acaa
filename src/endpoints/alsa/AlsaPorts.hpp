#pragma once

#include <compare>
#include <cstdint>
#include <string>

#include "endpoints/EndpointTable.hpp"

namespace varnolex {

/// Where a port is in this run of the sequencer. The numbers are given anew whenever a client starts.
struct AlsaAddress {
    std::uint8_t client = 0;
    std::uint8_t port = 0;

    auto operator<=>(const AlsaAddress&) const = default;
};

/// A port of another client as the sequencer tells of it.
struct AlsaPortInfo {
    AlsaAddress address{};
    std::string clientName{};
    std::string portName{};
    /// Of the client's program; -1 for one that is part of the system.
    int processID = -1;
    /// What the sound card behind it is called, and its driver. Empty when there is none.
    std::string cardName{};
    std::string cardDriver{};
    bool isSource = false;
    bool isDestination = false;
};

/// What the port tells users: client and port name, without saying anything twice. The unique ID is left open.
MIDIEndpointDescription describe(const AlsaPortInfo& port);

/// What stays the same when the port's program or device, the machine or this process starts again: direction, client
/// and port name. Numbers of this run that a program puts into its names (its process, its client) are left out.
std::string identityOf(const AlsaPortInfo& port, bool isSource);

}  // namespace varnolex
