#pragma once

#include <string>
#include <vector>

#include "endpoints/MIDIManager.hpp"

namespace varnolex {

/// The endpoint that a word on the command line means: its unique ID, its whole name, or a part of its name that no
/// other endpoint has, without regard to case. Throws `CommandFailure` that names what there is.
MIDISourceInfo chooseSource(const std::vector<MIDISourceInfo>& sources, const std::string& word);
MIDIDestinationInfo chooseDestination(const std::vector<MIDIDestinationInfo>& destinations, const std::string& word);

/// The same, but nothing when no endpoint is meant or more than one.
const MIDISourceInfo* findSource(const std::vector<MIDISourceInfo>& sources, const std::string& word);
const MIDIDestinationInfo* findDestination(const std::vector<MIDIDestinationInfo>& destinations,
                                           const std::string& word);

}  // namespace varnolex
