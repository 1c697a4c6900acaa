#pragma once

#include <stdexcept>

namespace varnolex {

/// Why bytes are no document of ours, with the place: "modulars[2].nodes[5].toolType: expected a text", or
/// "line 3, column 14: this is not JSON".
class DocumentError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace varnolex
