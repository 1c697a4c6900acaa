#pragma once

#include <array>
#include <cstdint>
#include <numeric>

#include "platform/concurrency/LiveValue.hpp"

namespace varnolex {

/// What each data byte becomes, as settings keep it.
using ByteTable = std::array<std::uint8_t, 128>;

/// Each byte as it is.
inline ByteTable identityTable() {
    ByteTable entries{};
    std::iota(entries.begin(), entries.end(), std::uint8_t{0});
    return entries;
}

/// A table that the processing road looks up, entry by entry, while the main thread writes it: settings that have one
/// need no snapshot of it.
class SharedByteTable {
public:
    struct NoSnapshot {};

    /// What a data byte becomes; bit 7 doesn't count. Any thread.
    std::uint8_t operator[](std::uint8_t byte) const { return entries[byte & 0x7F].get(); }

    /// Main thread: gives each byte what `entryOf(byte)` says.
    template <class EntryOf>
    void fill(EntryOf&& entryOf) {
        for (std::size_t byte = 0; byte < entries.size(); ++byte) entries[byte].set(entryOf(byte));
    }

private:
    std::array<SharedValue<std::uint8_t>, 128> entries;
};

}  // namespace varnolex
