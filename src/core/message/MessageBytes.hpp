#pragma once

#include <cstdint>
#include <vector>

#include "core/message/Message.hpp"

namespace varnolex {

/// Appends the bytes that a message travels as: what the parser made it of. Nothing for an assembled parameter, which
/// stands for several messages.
void appendMessageBytes(std::vector<std::uint8_t>& out, const Message& message);

}  // namespace varnolex
