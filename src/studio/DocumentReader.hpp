#pragma once

#include <cstddef>
#include <string_view>

#include "studio/DocumentError.hpp"
#include "studio/ModularDocument.hpp"

namespace varnolex {

/// Larger files are no documents.
inline constexpr std::size_t documentSizeLimit = std::size_t{256} << 20;

/// Decodes a file of any age. Unknown keys are ignored, what the format requires must be there. Any thread.
class DocumentReader {
public:
    /// Throws `DocumentError`.
    static ModularDocument read(std::string_view bytes);
};

}  // namespace varnolex
