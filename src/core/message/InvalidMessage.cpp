#include "core/message/InvalidMessage.hpp"

#include <algorithm>

namespace varnolex {

Reference<InvalidMessage> InvalidMessage::make(HostTime time, std::span<const std::uint8_t> bytes,
                                               SharedName endpoint) {
    const std::uint8_t status = bytes.empty() ? std::uint8_t{0} : bytes.front();
    auto message = Message::make<InvalidMessage>(bytes.size(), time, status, bytes.size(), endpoint);
    std::copy(bytes.begin(), bytes.end(), reinterpret_cast<std::uint8_t*>(message.get() + 1));
    return message;
}

}  // namespace varnolex
