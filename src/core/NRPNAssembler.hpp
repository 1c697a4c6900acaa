#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <span>

#include "core/message/NRPNMessage.hpp"
#include "platform/Runtime.hpp"

namespace varnolex {

/// Folds the controller sequences of NRPN and RPN changes into single `NRPNMessage`s, channel by channel, so that
/// four controllers show as one line. Main thread, its timers included.
class NRPNAssembler {
public:
    /// How long the first controller of a sequence waits for the second.
    static constexpr Nanoseconds firstStepTimeOut = std::chrono::milliseconds(50);

    NRPNAssembler() = default;
    ~NRPNAssembler();
    NRPNAssembler(const NRPNAssembler&) = delete;
    NRPNAssembler& operator=(const NRPNAssembler&) = delete;

    /// Takes a batch; gives it back without the controllers that are held, and with what was folded or let go.
    MessageList process(const MessageList& messages);

    /// Closes every channel that has passed the second controller and gives back what that yields. Called at each
    /// display step.
    MessageList flushPending();

    /// Gets what a time-out lets go.
    std::function<void(const MessageList&)> onDelayedMessages;

private:
    enum class Step : std::uint8_t { idle, awaitingParameterFine, awaitingData, awaitingDataFine };

    /// Where a channel stands in its sequence, and the controllers that are held for it.
    struct ChannelState {
        Step step = Step::idle;
        bool isRPN = false;
        std::array<NRPNMessage::VoiceRef, 4> held;
        std::size_t heldCount = 0;
        WorkItem timer;

        int valueOf(std::size_t index) const { return held[index]->dataBytes[1]; }
        int parameter() const { return valueOf(0) << 7 | valueOf(1); }
    };

    void processController(const NRPNMessage::VoiceRef& message, MessageList& output);
    bool hold(ChannelState& state, const NRPNMessage::VoiceRef& message);
    void begin(int channel, bool isRPN, const NRPNMessage::VoiceRef& message, MessageList& output);
    void close(ChannelState& state, MessageList& output);
    void timeOut(int channel);
    static MessageRef fold(const ChannelState& state, int value);

    /// By channel, 0 to 15.
    std::array<ChannelState, 16> state;
};

}  // namespace varnolex
