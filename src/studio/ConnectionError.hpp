#pragma once

#include <stdexcept>

namespace varnolex {

/// Why a MIDI cable was refused, in the system's own words.
class ConnectionError : public std::runtime_error {
public:
    enum class Reason { selfLoop, duplicate, wouldCycle, noInputPort, noOutputPort, nodeNotFound };

    explicit ConnectionError(Reason why);
    const Reason reason;
};

/// Why a value cable was refused.
class ValueConnectionError : public std::runtime_error {
public:
    enum class Reason { selfLoop, duplicate, portOccupied, wouldCycle, nodeNotFound, noValueOutput, portNotFound };

    explicit ValueConnectionError(Reason why);
    const Reason reason;
};

}  // namespace varnolex
