#pragma once

namespace varnolex {

/// Whether this run writes the expected files instead of comparing with them.
inline bool renewGolden = false;

}  // namespace varnolex
