#pragma once

namespace varnolex {

/// "0.1.0".
const char* programVersion();

}  // namespace varnolex
