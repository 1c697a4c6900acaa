#pragma once

#include <cstdint>
#include <string>

#include "core/message/Message.hpp"

namespace varnolex {

/// The name of a message's class, such as "VoiceMessage".
std::string_view className(const Message& message);

/// Appends a message as one line for people, with its line end: the time in seconds, the class, the kind's key,
/// the channel (0 to 15, "-" when there is none), what the message says, and the endpoint, parted by one tab.
/// `nanoseconds` is the time from the beginning.
void appendMessageText(std::string& out, const Message& message, std::uint64_t nanoseconds);

/// Appends a message as one JSON object, with its line end.
void appendMessageJSON(std::string& out, const Message& message, std::uint64_t nanoseconds);

}  // namespace varnolex
