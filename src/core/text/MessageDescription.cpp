#include "core/text/MessageDescription.hpp"

#include <array>
#include <span>

#include "core/message/InvalidMessage.hpp"
#include "core/message/NRPNMessage.hpp"
#include "core/message/SystemCommonMessage.hpp"
#include "core/message/SystemExclusiveMessage.hpp"
#include "core/message/VoiceMessage.hpp"
#include "core/text/TextPieces.hpp"

namespace varnolex {

namespace {

/// The bytes that a message carries beside its status. Messages of at most two have them copied here.
class Payload {
public:
    explicit Payload(const Message& message) {
        if (const auto* voice = message.as<VoiceMessage>()) {
            small = voice->dataBytes;
            bytes = std::span(small).first(voice->dataLength());
        } else if (const auto* common = message.as<SystemCommonMessage>()) {
            std::size_t count = 0;
            if (common->dataByte1) small[count++] = *common->dataByte1;
            if (common->dataByte2) small[count++] = *common->dataByte2;
            bytes = std::span(small).first(count);
        } else if (const auto* exclusive = message.as<SystemExclusiveMessage>()) {
            bytes = exclusive->data();
        } else if (const auto* invalid = message.as<InvalidMessage>()) {
            bytes = invalid->rawData();
        }
    }
    Payload(const Payload&) = delete;
    Payload& operator=(const Payload&) = delete;

    std::span<const std::uint8_t> bytes;

private:
    std::array<std::uint8_t, 2> small{};
};

std::optional<int> channelOf(const Message& message) {
    if (const auto* voice = message.as<VoiceMessage>()) return voice->channel();
    if (const auto* parameter = message.as<NRPNMessage>()) return parameter->channel - 1;
    return std::nullopt;
}

void appendParameter(std::string& out, const NRPNMessage& message) {
    out += message.isRPN ? "rpn " : "nrpn ";
    appendInteger(out, message.paramNumber);
    out += " = ";
    appendInteger(out, message.value);
}

void appendParameterJSON(std::string& out, const NRPNMessage& message) {
    out += ",\"parameter\":";
    appendInteger(out, message.paramNumber);
    out += ",\"value\":";
    appendInteger(out, message.value);
    out += message.isRPN ? ",\"rpn\":true" : ",\"rpn\":false";
}

}  // namespace

std::string_view className(const Message& message) {
    switch (message.messageClass()) {
        case MessageClass::voice:
            return "VoiceMessage";
        case MessageClass::systemExclusive:
            return "SystemExclusiveMessage";
        case MessageClass::systemCommon:
            return "SystemCommonMessage";
        case MessageClass::systemRealTime:
            return "SystemRealTimeMessage";
        case MessageClass::nrpn:
            return "NRPNMessage";
        case MessageClass::invalid:
            return "InvalidMessage";
    }
    return "Message";
}

void appendMessageText(std::string& out, const Message& message, std::uint64_t nanoseconds) {
    appendSeconds(out, nanoseconds);
    out += '\t';
    out += className(message);
    out += '\t';
    out += message.messageType().key();
    out += '\t';
    if (const auto channel = channelOf(message))
        appendInteger(out, *channel);
    else
        out += '-';
    out += '\t';
    if (const auto* parameter = message.as<NRPNMessage>())
        appendParameter(out, *parameter);
    else
        appendHexBytes(out, Payload(message).bytes);
    const auto* exclusive = message.as<SystemExclusiveMessage>();
    if (exclusive && !exclusive->wasReceivedWithEOX) out += exclusive->data().empty() ? "(no EOX)" : " (no EOX)";
    out += '\t';
    appendField(out, message.originatingEndpointName.view());
    out += '\n';
}

void appendMessageJSON(std::string& out, const Message& message, std::uint64_t nanoseconds) {
    out += "{\"time\":";
    appendJSONSeconds(out, nanoseconds);
    out += ",\"class\":\"";
    out += className(message);
    out += "\",\"type\":\"";
    out += message.messageType().key();
    out += "\",\"status\":";
    appendInteger(out, message.statusByte);
    if (const auto channel = channelOf(message)) {
        out += ",\"channel\":";
        appendInteger(out, *channel);
    }
    if (const auto* parameter = message.as<NRPNMessage>()) {
        appendParameterJSON(out, *parameter);
    } else {
        out += ",\"data\":";
        appendJSONBytes(out, Payload(message).bytes);
    }
    if (const auto* exclusive = message.as<SystemExclusiveMessage>())
        out += exclusive->wasReceivedWithEOX ? ",\"eox\":true" : ",\"eox\":false";
    out += ",\"endpoint\":";
    appendJSONString(out, message.originatingEndpointName.view());
    out += "}\n";
}

}  // namespace varnolex
