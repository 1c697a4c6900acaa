#include "studio/ConnectionError.hpp"

#include <array>

namespace varnolex {
namespace {

constexpr std::array<const char*, 6> connectionTexts{
    "Cannot connect a node to itself", "Connection already exists",      "Connection would create a cycle",
    "Target node has no input port",   "Source node has no output port", "Node not found in modular",
};

constexpr std::array<const char*, 7> valueConnectionTexts{
    "Cannot connect a node to itself", "Value connection already exists", "Target port is already connected",
    "Connection would create a cycle", "Node not found in modular",       "Source node has no value output",
    "Target port not found on node",
};

}  // namespace

ConnectionError::ConnectionError(Reason why)
    : std::runtime_error(connectionTexts[static_cast<std::size_t>(why)]), reason(why) {}

ValueConnectionError::ValueConnectionError(Reason why)
    : std::runtime_error(valueConnectionTexts[static_cast<std::size_t>(why)]), reason(why) {}

}  // namespace varnolex
