#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <optional>

namespace varnolex {

constexpr bool isNote(int number) { return number >= 0 && number <= 127; }

/// What a tool remembers of each sounding note, by the note's key (note + 128 x channel). Of fixed size, so that
/// remembering and forgetting never allocate.
template <class Value>
class NoteMap {
public:
    static constexpr std::size_t keyCount = 16 * 128;

    void put(std::uint16_t key, Value value) {
        values[key] = value;
        held.set(key);
    }

    bool contains(std::uint16_t key) const { return held.test(key); }

    std::optional<Value> get(std::uint16_t key) const {
        if (!held.test(key)) return std::nullopt;
        return values[key];
    }

    std::optional<Value> take(std::uint16_t key) {
        const std::optional<Value> value = get(key);
        held.reset(key);
        return value;
    }

    std::size_t size() const { return held.count(); }

private:
    std::array<Value, keyCount> values{};
    std::bitset<keyCount> held;
};

}  // namespace varnolex
