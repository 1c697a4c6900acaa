#pragma once

#include <cstdint>
#include <string>

#include "endpoints/MIDIService.hpp"
#include "platform/Runtime.hpp"

namespace varnolex {

/// A source of our own that other applications listen to: a tool sends through it with `MIDIReceived` on its
/// reference. `VirtualPortManager` makes, names and keeps it. Main thread.
class VirtualOutput {
public:
    VirtualOutput(std::string portName, std::int32_t portUniqueID)
        : id(Runtime::current().makeUUID()), currentName(std::move(portName)), permanentID(portUniqueID) {}
    VirtualOutput(const VirtualOutput&) = delete;
    VirtualOutput& operator=(const VirtualOutput&) = delete;

    /// Fresh in each run.
    const UUID id;

    const std::string& name() const { return currentName; }
    /// Kept across restarts and renames.
    std::int32_t uniqueID() const { return permanentID; }
    /// 0 while the endpoint isn't there.
    MIDIEndpointRef endpointRef() const { return endpoint; }
    bool isActive() const { return active; }

private:
    friend class VirtualPortManager;

    void setName(std::string next) { currentName = std::move(next); }
    void setEndpoint(MIDIEndpointRef reference) {
        endpoint = reference;
        active = reference != 0;
    }

    std::string currentName;
    const std::int32_t permanentID;
    MIDIEndpointRef endpoint = 0;
    bool active = false;
};

}  // namespace varnolex
