#include "tools/endpoints/EndpointLookup.hpp"

namespace varnolex {
namespace {

bool hasUniqueID(MIDIEndpointRef endpoint, std::int32_t wanted) {
    std::int32_t uniqueID = 0;
    return endpoint != 0 &&
           MIDIService::current().MIDIObjectGetIntegerProperty(endpoint, kMIDIPropertyUniqueID, uniqueID) ==
               midiSuccess &&
           uniqueID == wanted;
}

}  // namespace

MIDIEndpointRef findSource(std::int32_t uniqueID) {
    MIDIService& service = MIDIService::current();
    for (std::size_t index = 0; index < service.MIDIGetNumberOfSources(); ++index)
        if (const MIDIEndpointRef source = service.MIDIGetSource(index); hasUniqueID(source, uniqueID)) return source;
    return 0;
}

MIDIEndpointRef findDestination(std::int32_t uniqueID) {
    MIDIService& service = MIDIService::current();
    for (std::size_t index = 0; index < service.MIDIGetNumberOfDestinations(); ++index)
        if (const MIDIEndpointRef destination = service.MIDIGetDestination(index); hasUniqueID(destination, uniqueID))
            return destination;
    return 0;
}

std::optional<std::string> displayNameOf(MIDIEndpointRef endpoint) {
    std::string name;
    if (MIDIService::current().MIDIObjectGetStringProperty(endpoint, kMIDIPropertyDisplayName, name) != midiSuccess)
        return std::nullopt;
    return name;
}

}  // namespace varnolex
