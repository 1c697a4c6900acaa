#pragma once

#include <string_view>

namespace varnolex {

struct ModularNode;

// What both ends of a cable must offer, whatever other cables there are. Main thread.

/// Throws `ConnectionError` unless a MIDI cable may lead from `source` to `target`.
void requireMIDIPorts(const ModularNode& source, const ModularNode& target);

/// Throws `ValueConnectionError` unless a value cable may lead from `source` into this port of `target`.
void requireValuePorts(const ModularNode& source, const ModularNode& target, std::string_view portID);

}  // namespace varnolex
