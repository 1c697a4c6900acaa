#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <type_traits>

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
        Words words{};
        std::memcpy(words.data(), &value, sizeof(Value));
        const std::uint64_t version = published.load(std::memory_order_relaxed) + 1;
        Slot& slot = slots[version % slots.size()];
        slot.version.store(0, std::memory_order_relaxed);
        for (std::size_t index = 0; index < wordCount; ++index)
            slot.words[index].store(words[index], std::memory_order_release);
        slot.version.store(version, std::memory_order_release);
        published.store(version, std::memory_order_release);
    }

    /// Any thread.
    Value read() const noexcept {
        Words words;
        for (;;) {
            const std::uint64_t version = published.load(std::memory_order_acquire);
            const Slot& slot = slots[version % slots.size()];
            const std::uint64_t before = slot.version.load(std::memory_order_acquire);
            for (std::size_t index = 0; index < wordCount; ++index)
                words[index] = slot.words[index].load(std::memory_order_acquire);
            const std::uint64_t after = slot.version.load(std::memory_order_relaxed);
            if (before == version && after == version) break;
        }
        Value value;
        std::memcpy(static_cast<void*>(&value), words.data(), sizeof(Value));
        return value;
    }

private:
    static constexpr std::size_t wordCount = (sizeof(Value) + 7) / 8;
    using Words = std::array<std::uint64_t, wordCount>;

    struct Slot {
        std::atomic<std::uint64_t> version{0};
        std::array<std::atomic<std::uint64_t>, wordCount> words{};
    };

    std::array<Slot, 4> slots{};
    std::atomic<std::uint64_t> published{0};
};

}  // namespace varnolex
