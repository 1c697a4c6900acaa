#include "platform/ports/MessagePorts.hpp"

#include <algorithm>

namespace varnolex {

bool MessagePorts::isName(const std::string& name) {
    constexpr std::size_t longest = 64;
    const auto isAllowed = [](char character) {
        return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
               (character >= '0' && character <= '9') || character == '-' || character == '.';
    };
    return !name.empty() && name.size() <= longest && name.front() != '.' &&
           std::all_of(name.begin(), name.end(), isAllowed);
}

}  // namespace varnolex
