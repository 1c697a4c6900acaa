#pragma once

#include "studio/Modular.hpp"

namespace varnolex {

/// Lets the scripts of a graph tell the user, on standard error, what they log and why they couldn't be installed.
void hearScripts(const Modular& modular);

}  // namespace varnolex
