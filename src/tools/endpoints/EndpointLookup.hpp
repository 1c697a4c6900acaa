#pragma once

#include <optional>
#include <string>

#include "endpoints/MIDIService.hpp"

namespace varnolex {

// Finding an endpoint that a document names by its unique ID. Main thread; a service must be installed.

/// The source, or destination, with this unique ID; 0 when it isn't there.
MIDIEndpointRef findSource(std::int32_t uniqueID);
MIDIEndpointRef findDestination(std::int32_t uniqueID);

std::optional<std::string> displayNameOf(MIDIEndpointRef endpoint);

}  // namespace varnolex
