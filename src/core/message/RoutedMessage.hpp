#pragma once

#include <span>

#include "core/message/Message.hpp"

namespace varnolex {

/// Turns the bytes of exactly one message into a typed one, an `InvalidMessage` where they make none. At least one
/// byte. Any thread: takes nothing but pooled memory.
MessageRef makeTypedMessage(std::span<const std::uint8_t> bytes, HostTime timeStamp);

/// Turns the bytes of exactly one message, as they left a chain, into a typed message that carries its route.
/// Nothing for no bytes. Bytes that make no message give an `InvalidMessage` and a line in the log. Main thread.
MessageRef makeRoutedMessage(std::span<const std::uint8_t> bytes, HostTime timeStamp, SharedName routeName,
                             SharedName toolName);

}  // namespace varnolex
