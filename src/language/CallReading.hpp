#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varnolex {

/// A parameter of a node call. Without a key it is positional.
struct DSLParam {
    std::optional<std::string> key;
    std::string value;

    bool operator==(const DSLParam&) const = default;
};

/// A name with its parameters, as it stands in the text.
struct DSLCall {
    std::string name;
    std::vector<DSLParam> params;
};

/// Reads `name` or `name(parameters)`. Text behind the closing parenthesis is ignored.
DSLCall readCall(std::string_view segment);

}  // namespace varnolex
