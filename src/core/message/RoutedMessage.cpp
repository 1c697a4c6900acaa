#include "core/message/RoutedMessage.hpp"

#include <string>

#include "core/message/InvalidMessage.hpp"
#include "core/message/SystemCommonMessage.hpp"
#include "core/message/SystemExclusiveMessage.hpp"
#include "core/message/SystemRealTimeMessage.hpp"
#include "core/message/VoiceMessage.hpp"
#include "core/text/TextPieces.hpp"
#include "platform/VarnolexLogger.hpp"

namespace varnolex {

namespace {

using Bytes = std::span<const std::uint8_t>;

std::optional<std::uint8_t> byteAt(Bytes bytes, std::size_t index) {
    return index < bytes.size() ? std::optional(bytes[index]) : std::nullopt;
}

MessageRef systemExclusive(Bytes bytes, HostTime timeStamp) {
    const bool withEOX = bytes.back() == 0xF7;
    return SystemExclusiveMessage::make(timeStamp, bytes.subspan(1, bytes.size() - (withEOX ? 2 : 1)), withEOX);
}

MessageRef systemCommon(Bytes bytes, HostTime timeStamp, SystemCommonType type) {
    const std::size_t length = SystemCommonMessage::dataLength(type);
    return makeMessage<SystemCommonMessage>(timeStamp, type, length >= 1 ? byteAt(bytes, 1) : std::nullopt,
                                            length >= 2 ? byteAt(bytes, 2) : std::nullopt);
}

void logInvalid(Bytes bytes, SharedName routeName) {
    std::string line = "[INVALID] route=";
    line += routeName.view();
    line += " raw=";
    appendHexBytes(line, bytes);
    VarnolexLogger::shared().log(line);
}

}  // namespace

MessageRef makeTypedMessage(Bytes bytes, HostTime timeStamp) {
    const std::uint8_t status = bytes.front();
    if (status >= 0x80 && status < 0xF0)
        return makeMessage<VoiceMessage>(timeStamp, status, byteAt(bytes, 1).value_or(0), byteAt(bytes, 2).value_or(0));
    if (status == 0xF0) return systemExclusive(bytes, timeStamp);
    if (const auto type = SystemCommonMessage::typeOf(status)) return systemCommon(bytes, timeStamp, *type);
    if (const auto type = SystemRealTimeMessage::typeOf(status))
        return makeMessage<SystemRealTimeMessage>(timeStamp, *type);
    return InvalidMessage::make(timeStamp, bytes);
}

MessageRef makeRoutedMessage(Bytes bytes, HostTime timeStamp, SharedName routeName, SharedName toolName) {
    if (bytes.empty()) return nullptr;
    MessageRef message = makeTypedMessage(bytes, timeStamp);
    if (message->messageClass() == MessageClass::invalid) logInvalid(bytes, routeName);
    message->originatingEndpointName = routeName;
    message->setRouteInfo({routeName, toolName});
    return message;
}

}  // namespace varnolex
