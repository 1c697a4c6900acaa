#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace varnolex {

/// A script that only observes, with the message's numbers set in front of it. Of the message the first three bytes
/// count; a missing one is 0.
std::string observerText(const std::string& source, std::span<const std::uint8_t> message);

}  // namespace varnolex
