#include "support/Places.hpp"

namespace varnolex {

std::filesystem::path sourceFolder() { return VARNOLEX_SOURCE_DIR; }

std::filesystem::path builtProgram() { return VARNOLEX_PROGRAM; }

}  // namespace varnolex
