#include "core/MIDIMessageHistory.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

namespace varnolex {

void MIDIMessageHistory::add(MessageList messages) {
    held.with([&](Held& now) {
        now.added += messages.size();
        ++now.changes;
        const std::size_t skipped = messages.size() > limit ? messages.size() - limit : 0;
        now.places.insert(now.places.end(),
                          std::make_move_iterator(messages.begin() + static_cast<std::ptrdiff_t>(skipped)),
                          std::make_move_iterator(messages.end()));
        while (now.count() > limit) now.places[now.first++] = nullptr;
        // Moved to the front once in a while, so that a message costs the same however many are held.
        if (now.first <= now.count()) return;
        now.places.erase(now.places.begin(), now.places.begin() + static_cast<std::ptrdiff_t>(now.first));
        now.first = 0;
    });
}

void MIDIMessageHistory::clear() {
    MessageList dropped;
    held.with([&](Held& now) {
        std::swap(now.places, dropped);
        now.first = 0;
        now.added = 0;
        ++now.changes;
    });
}

MessageList MIDIMessageHistory::messages() const {
    return held.with([](const Held& now) {
        return MessageList(now.places.begin() + static_cast<std::ptrdiff_t>(now.first), now.places.end());
    });
}

MessageList MIDIMessageHistory::filteredMessages(const MIDIMessageFilter& filter, const EndpointNames& allowedNames,
                                                 MIDIMessageFilter::Zone firstZone,
                                                 MIDIMessageFilter::Zone secondZone) const {
    const std::uint16_t hidden = filter.hiddenByZones(firstZone, secondZone);
    return held.with([&](const Held& now) {
        MessageList passed;
        for (std::size_t place = now.first; place < now.places.size(); ++place) {
            const MessageRef& message = now.places[place];
            const SharedName name = message->originatingEndpointName;
            if (name && !allowedNames.empty() && !allowedNames.contains(name)) continue;
            if (filter.passes(*message, hidden)) passed.push_back(message);
        }
        return passed;
    });
}

std::size_t MIDIMessageHistory::totalAdded() const {
    return held.with([](const Held& now) { return now.added; });
}

std::uint64_t MIDIMessageHistory::revision() const {
    return held.with([](const Held& now) { return now.changes; });
}

}  // namespace varnolex
