#include "core/message/MessageTypeMask.hpp"

#include <array>
#include <bit>

namespace varnolex {

std::string_view MessageTypeMask::key() const {
    static constexpr std::array<std::string_view, 19> keys{
        "noteOn",     "noteOff",  "aftertouch",          "cc",          "program",     "channelPressure",
        "pitchWheel", "timeCode", "songPositionPointer", "songSelect",  "tuneRequest", "clock",
        "start",      "stop",     "continueMsg",         "activeSense", "reset",       "sysex",
        "invalid",
    };
    const auto bit = static_cast<std::size_t>(std::countr_zero(rawValue));
    return std::has_single_bit(rawValue) && bit < keys.size() ? keys[bit] : "unknown";
}

}  // namespace varnolex
