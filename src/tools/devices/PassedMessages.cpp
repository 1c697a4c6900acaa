#include "tools/devices/PassedMessages.hpp"

#include <algorithm>
#include <utility>

#include "core/message/RoutedMessage.hpp"

namespace varnolex {

void PassedMessages::makeRoom() {
    if (places.size() < capacity)
        places.resize(std::clamp(places.size() * 2, firstSize, capacity));
    else
        next = 0;
}

void PassedMessages::addTyped(Place& place, const ChainMessage& message) {
    place.typed = makeTypedMessage({message.bytes, message.length}, message.timeStamp);
}

void PassedMessages::takeNewest(std::size_t most, MessageList& output) {
    const auto held = static_cast<std::size_t>(std::min<std::uint64_t>(count, places.size()));
    const std::size_t skipped = held - std::min(held, most);
    const std::size_t oldest = count > places.size() ? next : 0;
    for (std::size_t index = 0; index < held; ++index) {
        Place& place = places[(oldest + index) % places.size()];
        MessageRef typed = std::exchange(place.typed, nullptr);
        if (index < skipped) continue;
        if (!typed) typed = makeTypedMessage({place.bytes.data(), place.length}, place.timeStamp);
        output.push_back(std::move(typed));
    }
    next = 0;
    count = 0;
}

}  // namespace varnolex
