#include "endpoints/input/MIDIMessageRingBuffer.hpp"

#include <algorithm>
#include <bit>
#include <utility>

namespace varnolex {

namespace {

constexpr std::size_t firstSize = 256;

}  // namespace

MIDIMessageRingBuffer::MIDIMessageRingBuffer(std::size_t limit) : most(std::max<std::size_t>(limit, 1)) {
    growTo(std::min(firstSize, most));
}

void MIDIMessageRingBuffer::append(MessageList& messages) {
    if (messages.empty()) return;
    for (std::size_t needed = 0; !tryAppend(messages, needed);) growTo(needed);
    // What was pushed out has come back in the list: it ends here, where nobody waits.
    messages.clear();
}

bool MIDIMessageRingBuffer::tryAppend(MessageList& messages, std::size_t& needed) {
    const std::size_t tooMany = messages.size() > most ? messages.size() - most : 0;
    return ring.with([&](Ring& held) {
        needed = std::min(held.count + messages.size(), most);
        if (held.slots.size() < needed) return false;
        held.received += messages.size();
        for (std::size_t index = tooMany; index < messages.size(); ++index) held.push(messages[index]);
        return true;
    });
}

/// The memory is taken and given back outside of the lock.
void MIDIMessageRingBuffer::growTo(std::size_t needed) {
    std::vector<MessageRef> larger(std::min(std::bit_ceil(needed), most));
    ring.with([&](Ring& held) {
        if (held.slots.size() < larger.size()) held.moveInto(larger);
    });
}

void MIDIMessageRingBuffer::drain(MessageList& output) {
    const std::size_t size = ring.with([](Ring& held) {
        if (held.count == 0) held.received = 0;
        return held.count == 0 ? 0 : held.slots.size();
    });
    if (size == 0) return;
    // What is put in its place has the same size, so that the appending side needn't grow it again.
    if (spare.slots.size() < size) spare.slots.resize(size);
    ring.with([&](Ring& held) { std::swap(held, spare); });
    spare.moveTo(output);
}

std::size_t MIDIMessageRingBuffer::count() const {
    return ring.with([](const Ring& held) { return held.count; });
}

std::size_t MIDIMessageRingBuffer::totalReceived() const {
    return ring.with([](const Ring& held) { return held.received; });
}

void MIDIMessageRingBuffer::Ring::push(MessageRef& message) {
    std::size_t place = first + count;
    if (place >= slots.size()) place -= slots.size();
    std::swap(slots[place], message);
    if (count < slots.size())
        ++count;
    else
        first = first + 1 < slots.size() ? first + 1 : 0;
}

void MIDIMessageRingBuffer::Ring::moveTo(MessageList& output) {
    const auto begin = slots.begin() + static_cast<std::ptrdiff_t>(first);
    const std::size_t untilEnd = std::min(count, slots.size() - first);
    const std::size_t fromStart = count - untilEnd;
    const auto move = [&](auto from, std::size_t number) {
        output.insert(output.end(), std::make_move_iterator(from),
                      std::make_move_iterator(from + static_cast<std::ptrdiff_t>(number)));
    };
    move(begin, untilEnd);
    move(slots.begin(), fromStart);
    first = 0;
    count = 0;
    received = 0;
}

void MIDIMessageRingBuffer::Ring::moveInto(std::vector<MessageRef>& larger) {
    for (std::size_t index = 0; index < count; ++index) {
        const std::size_t place = first + index;
        std::swap(larger[index], slots[place < slots.size() ? place : place - slots.size()]);
    }
    std::swap(slots, larger);
    first = 0;
}

}  // namespace varnolex
