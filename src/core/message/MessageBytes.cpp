#include "core/message/MessageBytes.hpp"

#include "core/message/InvalidMessage.hpp"
#include "core/message/SystemCommonMessage.hpp"
#include "core/message/SystemExclusiveMessage.hpp"
#include "core/message/VoiceMessage.hpp"

namespace varnolex {

void appendMessageBytes(std::vector<std::uint8_t>& out, const Message& message) {
    const auto append = [&](const auto& bytes) { out.insert(out.end(), bytes.begin(), bytes.end()); };
    switch (message.messageClass()) {
        case MessageClass::nrpn:
            return;
        case MessageClass::invalid:
            return append(message.as<InvalidMessage>()->rawData());
        default:
            out.push_back(message.statusByte);
    }
    if (const auto* voice = message.as<VoiceMessage>()) append(std::span(voice->dataBytes).first(voice->dataLength()));
    if (const auto* common = message.as<SystemCommonMessage>()) {
        if (common->dataByte1) out.push_back(*common->dataByte1);
        if (common->dataByte2) out.push_back(*common->dataByte2);
    }
    if (const auto* exclusive = message.as<SystemExclusiveMessage>()) {
        append(exclusive->data());
        if (exclusive->wasReceivedWithEOX) out.push_back(0xF7);
    }
}

}  // namespace varnolex
