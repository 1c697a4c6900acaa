#include "core/NRPNAssembler.hpp"

#include <utility>

#include "platform/DiagnosticLog.hpp"

namespace varnolex {

namespace {

constexpr std::uint8_t dataEntry = 6;
constexpr std::uint8_t dataEntryFine = 38;
constexpr std::uint8_t nonRegisteredFine = 98;
constexpr std::uint8_t nonRegisteredCoarse = 99;
constexpr std::uint8_t registeredFine = 100;
constexpr std::uint8_t registeredCoarse = 101;

/// The message as a controller, or nothing.
NRPNMessage::VoiceRef controllerOf(const MessageRef& message) {
    if (!message->as<VoiceMessage>() || (message->statusByte & 0xF0) != 0xB0) return nullptr;
    return NRPNMessage::VoiceRef::to(static_cast<VoiceMessage&>(*message));
}

void record(int channel, DiagnosticLog::SequenceEnd reason) {
    if (DiagnosticLog* const recorder = DiagnosticLog::shared()) recorder->parameterSequenceEnded(channel, reason);
}

}  // namespace

NRPNAssembler::~NRPNAssembler() {
    for (ChannelState& one : state) one.timer.cancel();
}

MessageList NRPNAssembler::process(const MessageList& messages) {
    MessageList output;
    output.reserve(messages.size());
    for (const MessageRef& message : messages) {
        if (const NRPNMessage::VoiceRef controller = controllerOf(message))
            processController(controller, output);
        else
            output.push_back(message);
    }
    return output;
}

MessageList NRPNAssembler::flushPending() {
    MessageList output;
    for (int channel = 0; channel < 16; ++channel) {
        ChannelState& one = state[static_cast<std::size_t>(channel)];
        if (one.step != Step::awaitingData && one.step != Step::awaitingDataFine) continue;
        record(channel, DiagnosticLog::SequenceEnd::flushed);
        close(one, output);
    }
    return output;
}

void NRPNAssembler::processController(const NRPNMessage::VoiceRef& message, MessageList& output) {
    ChannelState& one = state[static_cast<std::size_t>(message->channel())];
    const std::uint8_t controller = message->dataBytes[0];
    if (controller == nonRegisteredCoarse || controller == registeredCoarse)
        return begin(message->channel(), controller == registeredCoarse, message, output);
    if (hold(one, message)) {
        if (one.heldCount < one.held.size()) return;
        output.push_back(fold(one, one.valueOf(2) << 7 | one.valueOf(3)));
        one = ChannelState{};
        return;
    }
    close(one, output);
    output.push_back(message);
}

/// Takes the message as the next one of the channel's sequence if it is.
bool NRPNAssembler::hold(ChannelState& one, const NRPNMessage::VoiceRef& message) {
    const std::uint8_t fine = one.isRPN ? registeredFine : nonRegisteredFine;
    const std::uint8_t controller = message->dataBytes[0];
    if (one.step == Step::awaitingParameterFine && controller == fine) {
        one.timer.cancel();
        one.step = Step::awaitingData;
    } else if (one.step == Step::awaitingData && controller == dataEntry) {
        one.step = Step::awaitingDataFine;
    } else if (one.step != Step::awaitingDataFine || controller != dataEntryFine) {
        return false;
    }
    one.held[one.heldCount++] = message;
    return true;
}

void NRPNAssembler::begin(int channel, bool isRPN, const NRPNMessage::VoiceRef& message, MessageList& output) {
    ChannelState& one = state[static_cast<std::size_t>(channel)];
    close(one, output);
    one.step = Step::awaitingParameterFine;
    one.isRPN = isRPN;
    one.held[0] = message;
    one.heldCount = 1;
    one.timer = Runtime::current().mainQueue().after(firstStepTimeOut, [this, channel] { timeOut(channel); });
}

void NRPNAssembler::close(ChannelState& one, MessageList& output) {
    one.timer.cancel();
    const ChannelState closed = std::exchange(one, ChannelState{});
    if (closed.step == Step::awaitingDataFine) {
        output.push_back(fold(closed, closed.valueOf(2)));
        return;
    }
    for (std::size_t index = 0; index < closed.heldCount; ++index) output.push_back(closed.held[index]);
}

void NRPNAssembler::timeOut(int channel) {
    MessageList output;
    close(state[static_cast<std::size_t>(channel)], output);
    if (output.empty()) return;
    record(channel, DiagnosticLog::SequenceEnd::timedOut);
    if (onDelayedMessages) onDelayedMessages(output);
}

MessageRef NRPNAssembler::fold(const ChannelState& one, int value) {
    return makeMessage<NRPNMessage>(std::span(one.held).first(one.heldCount), one.parameter(), value, one.isRPN);
}

}  // namespace varnolex
