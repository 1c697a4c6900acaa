#pragma once

#include <cstdint>

#include "core/message/Message.hpp"
#include "engine/ConfiguredTool.hpp"
#include "engine/WalkOutbox.hpp"
#include "tools/devices/PassedMessages.hpp"

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
    void append(PassedMessages& arrived);

    WalkOutbox<PassedMessages> pending{*this, [this](PassedMessages& arrived) { append(arrived); }};

    // Main thread
    MessageList captured;
    std::uint64_t totalCaptured = 0;
};

}  // namespace varnolex
