#include "cli/Version.hpp"

namespace varnolex {

const char* programVersion() { return VARNOLEX_VERSION; }

}  // namespace varnolex
