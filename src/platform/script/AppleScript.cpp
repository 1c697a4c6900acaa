#include "platform/script/AppleScript.hpp"

namespace varnolex {

std::optional<std::string> runAppleScript(const std::string&) { return "this system has nothing to run AppleScript"; }

}  // namespace varnolex
