#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

namespace varnolex {

/// The latest value of a plain record, from one editing thread to any number of real-time readers. A reader gets
/// a whole, consistent copy without a lock, and never waits for a writer that lost the processor halfway: the
/// published slot is always complete. Only a reader overtaken by several publications in the time of one copy
/// tries again, with the newer value.
template <class Value>
class Snapshot {
    static_assert(std::is_trivially_copyable_v<Value>);

public:
    explicit Snapshot(const Value& initial = Value{}) { publish(initial); }

    /// Editing thread only.
    void publish(const Value& value) noexcept {
        std::array<std::uint64_t, wordCount> words{};
        std::memcpy(words.data(), &value, sizeof(Value));
        const std::uint64_t version = published.load(std::memory_order_relaxed) + 1;
        Slot& slot = slots[version % slotCount];
        for (std::size_t index = 0; index < wordCount; ++index)
            slot[index].store(words[index], std::memory_order_release);
        published.store(version, std::memory_order_release);
    }

    /// Any thread.
    Value read() const noexcept {
        Value value;
        if constexpr (wordCount == 1) {
            copyWord(slots[0], 0, value);
            return value;
        }
        for (;;) {
            const std::uint64_t version = published.load(std::memory_order_acquire);
            copy(slots[version % slotCount], value);
            if (wasWhole(version)) return value;
        }
    }

private:
    static constexpr std::size_t wordSize = sizeof(std::uint64_t);
    static constexpr std::size_t wordCount = (sizeof(Value) + wordSize - 1) / wordSize;
    /// A single word is always whole.
    static constexpr std::size_t slotCount = wordCount == 1 ? 1 : 4;
    using Slot = std::array<std::atomic<std::uint64_t>, wordCount>;

    /// Word by word to where it stays: gathered in an array first, and copied on in larger pieces, the words would have
    /// to reach the cache before they could be read again.
    static void copy(const Slot& slot, Value& value) noexcept {
        if constexpr (wordCount <= 8) {
            copyWords(slot, value, std::make_index_sequence<wordCount>());
        } else {
            for (std::size_t index = 0; index < wordCount; ++index) copyWord(slot, index, value);
        }
    }

    template <std::size_t... indices>
    static void copyWords(const Slot& slot, Value& value, std::index_sequence<indices...>) noexcept {
        (copyWord(slot, indices, value), ...);
    }

    /// Whether what was read of a version's slot is of that version. The slot is written anew only behind the
    /// publication of all others, and whoever has read a new word of it sees that publication too.
    bool wasWhole(std::uint64_t version) const noexcept {
        return published.load(std::memory_order_relaxed) - version < slotCount - 1;
    }

    static void copyWord(const Slot& slot, std::size_t index, Value& value) noexcept {
        const std::uint64_t word = slot[index].load(std::memory_order_acquire);
        const std::size_t offset = index * wordSize;
        std::memcpy(reinterpret_cast<std::byte*>(&value) + offset, &word, std::min(wordSize, sizeof(Value) - offset));
    }

    std::array<Slot, slotCount> slots{};
    std::atomic<std::uint64_t> published{0};
};

}  // namespace varnolex
