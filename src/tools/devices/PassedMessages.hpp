#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/message/Message.hpp"
#include "engine/ChainMessage.hpp"

namespace varnolex {

/// The newest of the messages that have passed a tool, as they came, and how many there were. Short ones are kept as
/// bytes and are typed by whoever takes them. Not for two threads at once; adding allocates only while it grows to its
/// working size.
class PassedMessages {
public:
    /// What is kept at most: more than most lists show.
    static constexpr std::size_t capacity = 16'384;

    /// A message of at least one byte.
    void add(const ChainMessage& message) {
        if (next == places.size()) [[unlikely]]
            makeRoom();
        ++count;
        Place& place = places[next++];
        place.timeStamp = message.timeStamp;
        if (message.length > 3 || message.timeStamp == 0 || place.typed) [[unlikely]]
            return addTyped(place, message);
        place.length = static_cast<std::uint8_t>(message.length);
        place.bytes[0] = message.status();
        if (message.length > 1) place.bytes[1] = message.data1();
        if (message.length > 2) place.bytes[2] = message.data2();
    }

    /// How many have come since the last `takeNewest`.
    std::uint64_t total() const { return count; }

    /// Moves at most `most` messages, the newest, to the end of `output`, oldest first, and forgets the others.
    void takeNewest(std::size_t most, MessageList& output);

private:
    struct Place {
        HostTime timeStamp;
        /// The message itself, where its bytes have no room here or its time is to be asked for when it comes.
        MessageRef typed;
        std::uint8_t length;
        std::array<std::uint8_t, 3> bytes;
    };

    void makeRoom();
    void addTyped(Place& place, const ChainMessage& message);

    static constexpr std::size_t firstSize = 256;

    /// A circle once there are `capacity` of them. The newest message stands ahead of `next`.
    std::vector<Place> places = std::vector<Place>(firstSize);
    std::size_t next = 0;
    std::uint64_t count = 0;
};

}  // namespace varnolex
