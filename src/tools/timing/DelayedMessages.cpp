#include "tools/timing/DelayedMessages.hpp"

#include <algorithm>

#include "platform/concurrency/BlockPool.hpp"

namespace varnolex {

DelayedMessages::DelayedMessages(PipeTool& ownerTool, std::string queueLabel, WhenDisabled whenDisabled)
    : owner(ownerTool), disabledRule(whenDisabled), timer(ownerTool, std::move(queueLabel)) {
    addChunk();
}

void DelayedMessages::forward(const ChainMessage& message, std::chrono::milliseconds delay, ToolChain& chain) {
    makeRoom(message.length, chain);
    const HostTime now = Runtime::current().hostTime();
    const auto wait = static_cast<HostTime>(std::max<Nanoseconds::rep>(Nanoseconds(delay).count(), 0));
    const SlotIndex slot = takeSlot();
    fill(slotAt(slot), message);
    order.push_back({now + wait, nextSequence++, slot});
    std::push_heap(order.begin(), order.end());
    setTimer();
}

void DelayedMessages::cancel() {
    timer.cancel();
    for (const Place& place : order) release(place.slot);
    order.clear();
}

void DelayedMessages::addChunk() {
    chunks[slotCount / chunkSize] = std::make_unique_for_overwrite<Slot[]>(chunkSize);
    slotCount += chunkSize;
    if (slotCount > order.capacity()) order.reserve(std::size_t{2} * slotCount);
}

DelayedMessages::SlotIndex DelayedMessages::takeSlot() {
    if (firstFree != none) return std::exchange(firstFree, slotAt(firstFree).nextFree);
    if (firstFresh == slotCount) addChunk();
    return firstFresh++;
}

void DelayedMessages::fill(Slot& slot, const ChainMessage& message) {
    slot.timeStamp = message.timeStamp;
    slot.longBytes = nullptr;
    slot.length = static_cast<std::uint32_t>(message.length);
    slot.isLastInBatch = message.isLastInBatch;
    std::uint8_t* bytes = slot.shortBytes.data();
    if (message.length > shortLength) {
        const auto sizeClass = BlockPool::classOf(message.length);
        bytes = slot.longBytes = static_cast<std::uint8_t*>(BlockPool::allocate(sizeClass, message.length));
        longBytesHeld += message.length;
    }
    std::copy_n(message.bytes, message.length, bytes);
}

void DelayedMessages::release(SlotIndex index) {
    Slot& slot = slotAt(index);
    if (slot.longBytes) {
        BlockPool::release(slot.longBytes, BlockPool::classOf(slot.length));
        longBytesHeld -= slot.length;
    }
    slot.nextFree = std::exchange(firstFree, index);
}

void DelayedMessages::makeRoom(std::size_t length, ToolChain& chain) {
    const std::size_t longLength = length > shortLength ? length : 0;
    forwardWhile(chain, [&] {
        return order.size() + leaving >= capacity || (longLength > 0 && longBytesHeld + longLength > longBytesLimit);
    });
}

void DelayedMessages::forwardDue(ToolChain& chain) {
    const HostTime now = Runtime::current().hostTime();
    forwardWhile(chain, [&] { return order.front().deadline <= now; });
    setTimer();
}

template <class Condition>
void DelayedMessages::forwardWhile(ToolChain& chain, Condition&& condition) {
    bool isBatchOpen = false;
    while (!order.empty() && condition()) {
        const SlotIndex index = order.front().slot;
        std::pop_heap(order.begin(), order.end());
        order.pop_back();
        if (disabledRule == WhenDisabled::leaves || owner.isEnabled()) {
            forwardFrom(slotAt(index), chain);
            isBatchOpen = !slotAt(index).isLastInBatch;
        }
        release(index);
    }
    if (isBatchOpen) chain.forward({nullptr, 0, Runtime::current().hostTime(), true});
}

/// Others may come in while this one goes out, so its slot isn't free yet.
void DelayedMessages::forwardFrom(const Slot& slot, ToolChain& chain) {
    ++leaving;
    const std::uint8_t* const bytes = slot.longBytes ? slot.longBytes : slot.shortBytes.data();
    chain.forward({bytes, slot.length, slot.timeStamp, slot.isLastInBatch});
    --leaving;
}

void DelayedMessages::setTimer() {
    if (order.empty()) return timer.cancel();
    const HostTime first = order.front().deadline;
    if (timer.isRunning() && timer.deadline() == first) return;
    timer.start(first, [this](ToolChain& chain) { forwardDue(chain); });
}

}  // namespace varnolex
