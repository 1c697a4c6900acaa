#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "core/message/InvalidMessage.hpp"
#include "core/message/NRPNMessage.hpp"
#include "core/message/SystemCommonMessage.hpp"
#include "core/message/SystemExclusiveMessage.hpp"
#include "core/message/SystemRealTimeMessage.hpp"
#include "core/message/VoiceMessage.hpp"
#include "core/text/TextPieces.hpp"
#include "platform/VirtualRuntime.hpp"

namespace varnolex {

/// Tests of the core run in virtual time.
class CoreTest : public testing::Test {
protected:
    VirtualRuntime runtime;
    RuntimeScope scope{runtime};
};

/// Bytes from hexadecimal text; blanks are free.
inline std::vector<std::uint8_t> hex(std::string_view text) {
    std::vector<std::uint8_t> bytes;
    int digits = 0;
    for (const char character : text) {
        if (character == ' ') continue;
        const int value = character <= '9' ? character - '0' : character - 'A' + 10;
        if (digits++ % 2 == 0)
            bytes.push_back(static_cast<std::uint8_t>(value << 4));
        else
            bytes.back() = static_cast<std::uint8_t>(bytes.back() | value);
    }
    return bytes;
}

inline std::string hexText(std::span<const std::uint8_t> bytes) {
    std::string text;
    appendHexBytes(text, bytes);
    return text;
}

/// A message in a short form that tables can hold, such as "voice 90 3C 64" or "sysex 01 02 eox".
inline std::string shortForm(const Message& message) {
    if (const auto* voice = message.as<VoiceMessage>())
        return "voice " + hexText({{voice->statusByte, voice->dataBytes[0], voice->dataBytes[1]}});
    if (const auto* exclusive = message.as<SystemExclusiveMessage>())
        return "sysex " + hexText(exclusive->data()) + (exclusive->wasReceivedWithEOX ? " eox" : " open");
    if (const auto* common = message.as<SystemCommonMessage>()) {
        std::vector<std::uint8_t> bytes{common->statusByte};
        if (common->dataByte1) bytes.push_back(*common->dataByte1);
        if (common->dataByte2) bytes.push_back(*common->dataByte2);
        return "common " + hexText(bytes);
    }
    if (message.as<SystemRealTimeMessage>()) return "realtime " + hexText({{message.statusByte}});
    if (const auto* invalid = message.as<InvalidMessage>()) return "invalid " + hexText(invalid->rawData());
    const auto* parameter = message.as<NRPNMessage>();
    return std::string(parameter->isRPN ? "rpn " : "nrpn ") + std::to_string(parameter->channel) + " " +
           std::to_string(parameter->paramNumber) + "=" + std::to_string(parameter->value) + " of " +
           std::to_string(parameter->rawMessages().size());
}

inline std::vector<std::string> shortForms(const MessageList& messages) {
    std::vector<std::string> forms;
    for (const MessageRef& message : messages) forms.push_back(shortForm(*message));
    return forms;
}

}  // namespace varnolex
