#include "tools/script/DelayedSends.hpp"

#include "engine/ToolChain.hpp"

namespace varnolex {

void DelayedSends::Waiting::release(std::uint32_t place) {
    slots[place].isWaiting = false;
    bytes -= slots[place].length;
    freeSlots.push_back(place);
}

bool DelayedSends::schedule(Nanoseconds delay, const ChainMessage& message, Entry entry) {
    struct Sending {
        std::weak_ptr<DelayedSends> sends;
        PooledBytes bytes;
        HostTime timeStamp;
        std::uint32_t place;
        std::uint32_t serial;
        bool isLastInBatch;
        Entry entry;

        void operator()() const {
            if (const auto living = sends.lock())
                living->fire(place, serial, {bytes.bytes().data(), bytes.bytes().size(), timeStamp, isLastInBatch},
                             entry);
        }
    };
    Sending sending{weak_from_this(),
                    PooledBytes(std::span(message.bytes, message.length)),
                    message.timeStamp,
                    0,
                    0,
                    message.isLastInBatch,
                    entry};
    return waiting.with([&](Waiting& held) {
        if (held.bytes + message.length > byteLimit) return false;
        if (held.freeSlots.empty()) {
            if (held.slots.size() >= limit) return false;
            held.freeSlots.push_back(static_cast<std::uint32_t>(held.slots.size()));
            held.slots.emplace_back();
        }
        sending.place = held.freeSlots.back();
        held.freeSlots.pop_back();
        Slot& slot = held.slots[sending.place];
        sending.serial = ++slot.serial;
        slot.isWaiting = true;
        slot.length = message.length;
        held.bytes += slot.length;
        slot.item = queue->after(delay, std::move(sending));
        return true;
    });
}

bool DelayedSends::take(std::uint32_t place, std::uint32_t serial) {
    return waiting.with([&](Waiting& held) {
        Slot& slot = held.slots[place];
        if (!slot.isWaiting || slot.serial != serial) return false;
        held.release(place);
        return true;
    });
}

void DelayedSends::fire(std::uint32_t place, std::uint32_t serial, const ChainMessage& message, Entry entry) {
    const auto sender = tool.lock();
    const auto chain = sender ? sender->chain() : nullptr;
    if (!chain) {
        take(place, serial);
        return;
    }
    // It is looked for inside the walk, so that a `flush` in a walk before it is in time.
    chain->enter([&] {
        if (!take(place, serial) || !sender->isEnabled()) return;
        if (entry == Entry::send)
            chain->send(message);
        else
            chain->forward(message);
        // What doesn't end its batch mustn't wait in an output for something else to come along.
        if (!message.isLastInBatch && entry == Entry::forward) chain->forward({nullptr, 0, message.timeStamp, true});
    });
}

void DelayedSends::flush() {
    waiting.with([](Waiting& held) {
        for (std::uint32_t place = 0; place < held.slots.size(); ++place) {
            Slot& slot = held.slots[place];
            if (!slot.isWaiting) continue;
            slot.item.cancel();
            held.release(place);
        }
    });
}

}  // namespace varnolex
