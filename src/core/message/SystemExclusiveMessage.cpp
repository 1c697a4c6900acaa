#include "core/message/SystemExclusiveMessage.hpp"

#include <algorithm>

namespace varnolex {

Reference<SystemExclusiveMessage> SystemExclusiveMessage::make(HostTime time, std::span<const std::uint8_t> content,
                                                               bool withEOX, SharedName endpoint) {
    auto message = Message::make<SystemExclusiveMessage>(content.size(), time, content.size(), withEOX, endpoint);
    std::copy(content.begin(), content.end(), reinterpret_cast<std::uint8_t*>(message.get() + 1));
    return message;
}

std::vector<std::uint8_t> SystemExclusiveMessage::fullBytes() const {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(fullSize());
    bytes.push_back(0xF0);
    bytes.insert(bytes.end(), data().begin(), data().end());
    if (wasReceivedWithEOX) bytes.push_back(0xF7);
    return bytes;
}

}  // namespace varnolex
