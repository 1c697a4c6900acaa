#pragma once

#include <cstdint>
#include <optional>

#include "core/MPEZone.hpp"

namespace varnolex {

/// Watches the controllers of one channel for an MPE Configuration Message that is complete, its closing null
/// parameter included. A plain value; its owner's thread.
class RPNDetector {
public:
    struct Zone {
        MPEZoneType type;
        int memberCount;
        bool operator==(const Zone&) const = default;
    };

    /// `channel` is 0 to 15. A zone when this controller completes a configuration.
    std::optional<Zone> feed(std::uint8_t controller, std::uint8_t value, int channel);

private:
    enum class Step : std::uint8_t { idle, rpnMSB, rpnLSB, dataMSB, dataLSB, nullMSB };

    Step following(std::uint8_t controller, std::uint8_t value) const;

    Step step = Step::idle;
    int pendingCount = 0;
};

}  // namespace varnolex
