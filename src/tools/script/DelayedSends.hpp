#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "engine/ChainMessage.hpp"
#include "engine/PipeTool.hpp"
#include "platform/Runtime.hpp"
#include "platform/concurrency/Guarded.hpp"
#include "platform/concurrency/PooledBytes.hpp"

namespace varnolex {

/// What a script has asked to be sent later. It goes out of the tool's chain behind the tool, unless the tool is
/// switched off by then. Any thread; nothing allocates once the list has its working size.
class DelayedSends : public std::enable_shared_from_this<DelayedSends> {
public:
    enum class Entry {
        /// Behind the tool.
        forward,
        /// At the first tool of the chain.
        send,
    };

    /// How many may wait at a time, and their bytes.
    static constexpr std::size_t limit = 65'536;
    static constexpr std::size_t byteLimit = std::size_t{16} << 20;

    DelayedSends(std::weak_ptr<PipeTool> sender, std::shared_ptr<Queue> onQueue)
        : tool(std::move(sender)), queue(std::move(onQueue)) {}

    /// False when too many wait already.
    bool schedule(Nanoseconds delay, const ChainMessage& message, Entry entry);

    /// Calls everything off.
    void flush();

private:
    struct Slot {
        WorkItem item;
        std::uint32_t serial = 0;
        std::size_t length = 0;
        bool isWaiting = false;
    };
    struct Waiting {
        std::vector<Slot> slots;
        std::vector<std::uint32_t> freeSlots;
        std::size_t bytes = 0;

        void release(std::uint32_t place);
    };

    void fire(std::uint32_t place, std::uint32_t serial, const ChainMessage& message, Entry entry);
    bool take(std::uint32_t place, std::uint32_t serial);

    const std::weak_ptr<PipeTool> tool;
    const std::shared_ptr<Queue> queue;
    Guarded<Waiting> waiting;
};

}  // namespace varnolex
