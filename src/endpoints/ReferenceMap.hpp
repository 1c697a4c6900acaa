#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace varnolex {

/// Values by the numbers that a MIDI service gives to its objects, never 0. Made once and then looked up once a packet
/// list, so a look-up is a mask and, mostly, one comparison: the numbers are counted up and need no hash.
template <class Value>
class ReferenceMap {
public:
    /// Each number at most once.
    void insert(std::uint32_t reference, Value value) {
        if (2 * (count + 1) > entries.size()) grow();
        ++count;
        Entry& entry = entries[placeOf(reference)];
        entry = {reference, std::move(value)};
    }

    const Value* find(std::uint32_t reference) const {
        if (entries.empty()) return nullptr;
        const Entry& entry = entries[placeOf(reference)];
        return entry.reference != 0 ? &entry.value : nullptr;
    }

private:
    struct Entry {
        std::uint32_t reference = 0;
        Value value;
    };

    /// Where the number is, or the free place where it belongs. Half of the places are free, so there is an end.
    std::size_t placeOf(std::uint32_t reference) const {
        const std::size_t mask = entries.size() - 1;
        std::size_t place = reference & mask;
        while (entries[place].reference != reference && entries[place].reference != 0) place = (place + 1) & mask;
        return place;
    }

    void grow() {
        std::vector<Entry> before(std::max<std::size_t>(8, 2 * entries.size()));
        std::swap(before, entries);
        for (Entry& entry : before)
            if (entry.reference != 0) entries[placeOf(entry.reference)] = std::move(entry);
    }

    std::size_t count = 0;
    /// A power of two of them.
    std::vector<Entry> entries;
};

}  // namespace varnolex
