#pragma once

#include <string>

#include "studio/ModularDocument.hpp"

namespace varnolex {

/// Encodes a document as pretty-printed JSON with sorted keys: the same document gives the same bytes. Any thread.
class DocumentWriter {
public:
    /// Bytes of a text that are no UTF-8 become the replacement character, a number that isn't finite becomes 0:
    /// what was written can always be read.
    static std::string write(const ModularDocument& document);
};

}  // namespace varnolex
