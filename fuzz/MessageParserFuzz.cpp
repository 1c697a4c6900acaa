// USES core
#include <algorithm>

#include "FuzzInput.hpp"
#include "core/MessageParser.hpp"
#include "core/NRPNAssembler.hpp"
#include "core/message/InvalidMessage.hpp"
#include "core/message/SystemExclusiveMessage.hpp"
#include "core/text/MessageDescription.hpp"
#include "platform/VirtualRuntime.hpp"

using namespace varnolex;

namespace {

/// The input is runs, each with its length in front of it.
template <class Use>
void forEachRun(std::span<const std::uint8_t> input, Use&& use) {
    while (!input.empty()) {
        const std::size_t length = std::min<std::size_t>(input.front(), input.size() - 1);
        use(input.subspan(1, length));
        input = input.subspan(1 + length);
    }
}

std::string described(const MessageList& messages, bool withInvalid) {
    std::string text;
    for (const MessageRef& message : messages)
        if (withInvalid || !message->as<InvalidMessage>()) appendMessageJSON(text, *message, message->timeStamp);
    return text;
}

void checkMessage(const Message& message) {
    require(message.timeStamp != 0, "a message has a time");
    require(message.messageType().key() != "unknown", "a message has one kind");
    if (const auto* voice = message.as<VoiceMessage>())
        require(voice->dataBytes[0] < 0x80 && voice->dataBytes[1] < 0x80, "data bytes are below 0x80");
    if (const auto* exclusive = message.as<SystemExclusiveMessage>())
        require(std::ranges::all_of(exclusive->data(), [](std::uint8_t byte) { return byte < 0x80; }),
                "SysEx data is below 0x80");
    if (const auto* invalid = message.as<InvalidMessage>())
        require(!invalid->rawData().empty() && invalid->rawData().front() == message.statusByte,
                "invalid bytes begin with the status");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    VirtualRuntime runtime;
    const RuntimeScope scope(runtime);
    MessageParser parser, deaf;
    deaf.ignoresInvalidData = true;
    NRPNAssembler assembler;
    std::size_t cameOut = 0, wentIn = 0;
    const auto countParts = [&](const MessageList& messages) {
        for (const MessageRef& message : messages) {
            const auto* parameter = message->as<NRPNMessage>();
            cameOut += parameter ? parameter->rawMessages().size() : 1;
        }
    };
    assembler.onDelayedMessages = countParts;
    HostTime time = 0;
    forEachRun({data, size}, [&](std::span<const std::uint8_t> run) {
        const MessageList messages = parser.parse(run.data(), run.size(), ++time);
        for (const MessageRef& message : messages) checkMessage(*message);
        const MessageList valid = deaf.parse(run.data(), run.size(), time);
        require(described(messages, false) == described(valid, true), "ignoring invalid bytes changes nothing else");
        wentIn += messages.size();
        countParts(assembler.process(messages));
    });
    countParts(assembler.flushPending());
    runtime.runFor(NRPNAssembler::firstStepTimeOut);
    require(cameOut == wentIn, "assembly loses no message and makes none up");
    return 0;
}
