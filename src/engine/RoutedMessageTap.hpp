#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>

#include "engine/ToolChain.hpp"
#include "platform/concurrency/LiveValue.hpp"

namespace varnolex {

/// Brings copies of what leaves the ends of walks to a listener on the main thread, and costs next to nothing while
/// there is none. Shared by the engine, which sets the listener, and the exits, which feed it.
class RoutedMessageTap : public std::enable_shared_from_this<RoutedMessageTap> {
public:
    /// Bytes (valid during the call), time stamp, end of batch, and the name of the graph or pipe.
    using Handler = std::function<void(const ChainMessage& message, const std::string& pipeName)>;

    /// Main thread.
    void setHandler(Handler handler);

    /// Processing road. A long message (SysEx) is copied to the heap, and only while somebody listens.
    void offer(const ChainMessage& message, const std::shared_ptr<const std::string>& pipeName) noexcept;

private:
    SharedValue<bool> isListening{false};
    Handler listener;
};

/// The end of a walk: whoever listens to what leaves hears of it.
class TerminalExit final : public ChainExit {
public:
    TerminalExit(std::shared_ptr<RoutedMessageTap> tap, std::shared_ptr<const std::string> name);

    void deliver(const ChainMessage& message) noexcept override;

private:
    const std::shared_ptr<RoutedMessageTap> listeners;
    const std::shared_ptr<const std::string> pipeName;
};

}  // namespace varnolex
