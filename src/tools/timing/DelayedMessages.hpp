#pragma once

#include <array>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "tools/timing/WalkTimer.hpp"

namespace varnolex {

/// Copies of messages that a tool forwards later, each at its own time, those of one time in the order in which they
/// came. A member of its tool. Everything but the making happens inside walks of the tool's chain; what is due leaves
/// from a queue, in a walk of its own.
///
/// Nothing is ever lost for want of room: when `capacity` messages wait, or long ones fill `longBytesLimit`, whatever
/// is due first leaves early. Up to `chunkSize` waiting short messages need no memory beyond what the tool was made
/// with; beyond that, memory grows with the working size, is kept, and isn't asked for again.
class DelayedMessages {
public:
    static constexpr std::size_t capacity = 262'144;
    static constexpr std::size_t chunkSize = 1024;
    static constexpr std::size_t longBytesLimit = std::size_t{16} << 20;

    /// What becomes of a message whose time comes while the tool is switched off.
    enum class WhenDisabled { leaves, vanishes };

    DelayedMessages(PipeTool& ownerTool, std::string queueLabel, WhenDisabled whenDisabled = WhenDisabled::leaves);
    ~DelayedMessages() { cancel(); }

    /// Forwards a copy with all that the message has (time stamp and place in the batch) when `delay` has passed.
    /// What leaves at one time and doesn't end its batch has an empty carrier behind it that does, so that outputs
    /// don't keep it until something else comes along.
    void forward(const ChainMessage& message, std::chrono::milliseconds delay, ToolChain& chain);

    /// Discards what waits.
    void cancel();

    bool isEmpty() const { return order.empty(); }

private:
    using SlotIndex = std::uint32_t;
    static constexpr SlotIndex none = ~SlotIndex{0};
    static constexpr std::size_t chunkCount = capacity / chunkSize;
    static constexpr std::size_t shortLength = 39;

    /// Left as it is when memory is taken, so that what is never used isn't touched.
    struct Slot {
        HostTime timeStamp;
        /// The bytes of a message that the slot itself can't hold, from the pool of blocks.
        std::uint8_t* longBytes;
        std::uint32_t length;
        SlotIndex nextFree;
        bool isLastInBatch;
        std::array<std::uint8_t, shortLength> shortBytes;
    };

    struct Place {
        HostTime deadline;
        std::uint64_t sequence;
        SlotIndex slot;

        /// A heap has its greatest element in front: that is to be the earliest.
        bool operator<(const Place& other) const {
            return deadline != other.deadline ? deadline > other.deadline : sequence > other.sequence;
        }
    };

    Slot& slotAt(SlotIndex index) { return chunks[index / chunkSize][index % chunkSize]; }
    void addChunk();
    SlotIndex takeSlot();
    void fill(Slot& slot, const ChainMessage& message);
    void release(SlotIndex index);
    void makeRoom(std::size_t length, ToolChain& chain);
    void forwardDue(ToolChain& chain);
    template <class Condition>
    void forwardWhile(ToolChain& chain, Condition&& condition);
    void forwardFrom(const Slot& slot, ToolChain& chain);
    void setTimer();

    PipeTool& owner;
    const WhenDisabled disabledRule;
    WalkTimer timer;
    std::array<std::unique_ptr<Slot[]>, chunkCount> chunks;
    /// What waits, as a heap.
    std::vector<Place> order;
    std::uint64_t nextSequence = 0;
    std::size_t longBytesHeld = 0;
    /// Messages that are on their way out, their slots still in use.
    std::size_t leaving = 0;
    SlotIndex firstFree = none;
    /// Slots from here on have never been used.
    SlotIndex firstFresh = 0;
    SlotIndex slotCount = 0;
};

}  // namespace varnolex
