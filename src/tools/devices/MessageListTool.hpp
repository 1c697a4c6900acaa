#pragma once

#include <cstdint>

#include "core/message/Message.hpp"
#include "endpoints/input/MIDIMessageRingBuffer.hpp"
#include "engine/ConfiguredTool.hpp"
#include "platform/MainThreadCall.hpp"
#include "platform/concurrency/LiveValue.hpp"

namespace varnolex {

struct MessageListSettings {
    std::int64_t maxCapture = 100;
    /// For the panel.
    std::int64_t numberFormat = 0;

    static MessageListSettings fresh() { return {200, 0}; }
};

/// Keeps a list of the newest messages that pass.
class MessageListTool final : public ConfiguredTool<MessageListSettings> {
public:
    MessageListTool();

    void process(const ChainMessage& message, ToolChain& chain) override;

    /// Oldest first, with those that had come when the main thread was last told. Main thread.
    const MessageList& capturedMessages() const { return captured; }

    /// How many messages have come since the list was last cleared. Main thread.
    std::uint64_t totalCapturedEver() const { return totalCaptured; }

    /// Main thread. What is on its way still arrives.
    void clear();

private:
    /// What the main thread may be behind by: more than any list shows.
    static constexpr std::size_t mostPending = 16'384;

    void flush();

    MIDIMessageRingBuffer pending{mostPending};
    SharedValue<std::uint64_t> received{0};
    /// Touched inside walks only; kept for its memory.
    MessageList arrived;

    MessageList captured;
    std::uint64_t totalCaptured = 0;
    MainThreadCall flushing{[this] { flush(); }};
};

}  // namespace varnolex
