#pragma once

#include <string>
#include <variant>

namespace varnolex {

/// What scripts of any language leave for each other: a truth, a number or a text; anything else as its JSON.
struct ScriptValue {
    struct Json {
        std::string text;
    };
    std::variant<bool, double, std::string, Json> held;
};

}  // namespace varnolex
