#pragma once

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <variant>

#include "platform/UUID.hpp"
#include "platform/concurrency/Guarded.hpp"

namespace varnolex {

/// Works out from the values alone whether a controller that is bound to a bypass is a momentary switch or a knob,
/// and what its next value means. Any thread.
class BypassToggleState {
public:
    enum class Result { off, on, noChange, toggle };

    static BypassToggleState& shared();

    /// What `value` (0 to 127) of the bound controller does to the tool.
    Result evaluate(const UUID& toolID, std::uint8_t value);

    /// Forgets what was learned of the tool's controller.
    void reset(const UUID& toolID);

    /// Makes room for a tool, so that its first value finds its place without an allocation.
    void prepare(const UUID& toolID);

private:
    struct Unknown {
        std::optional<std::uint8_t> firstValue;
    };
    struct SwitchLike {
        bool armed;
    };
    struct Knob {};
    using Mode = std::variant<Unknown, SwitchLike, Knob>;

    static Result advance(Mode& mode, std::uint8_t value);

    Guarded<std::unordered_map<UUID, Mode>> modes;
};

}  // namespace varnolex
