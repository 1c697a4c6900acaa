#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "tools/looper/LoopTime.hpp"

namespace varnolex {

struct LooperNoteEvent {
    /// Where the note begins, in ticks.
    std::uint32_t tick = 0;
    std::uint8_t note = 0;
    std::uint8_t velocity = 0;
    /// 0 to 15.
    std::uint8_t channel = 0;
    /// In ticks, 1 to 65535.
    std::uint16_t duration = 1;

    bool operator==(const LooperNoteEvent&) const = default;
};

/// A message of three bytes that isn't a note, as it arrived.
struct LooperRawEvent {
    std::uint32_t tick = 0;
    std::uint8_t b0 = 0;
    std::uint8_t b1 = 0;
    std::uint8_t b2 = 0;

    bool operator==(const LooperRawEvent&) const = default;
};

/// A list with room for a fixed number of events, all of it there from the beginning, so that recording never
/// allocates.
template <class Event, std::size_t room>
class EventList {
public:
    static constexpr std::size_t capacity = room;

    /// False when the list is full: the event is lost.
    [[nodiscard]] bool append(const Event& event) noexcept {
        if (count == capacity) return false;
        memory[count++] = event;
        return true;
    }

    /// Keeps the first so many.
    void shrink(std::size_t size) noexcept { count = std::min(count, size); }

    void clear() noexcept { count = 0; }

    /// Takes as many as there is room for.
    void assign(std::span<const Event> events) noexcept {
        count = std::min(events.size(), capacity);
        std::copy_n(events.begin(), count, memory.get());
    }

    std::size_t size() const noexcept { return count; }
    bool empty() const noexcept { return count == 0; }
    Event& operator[](std::size_t index) noexcept { return memory[index]; }
    const Event& operator[](std::size_t index) const noexcept { return memory[index]; }
    Event* begin() noexcept { return memory.get(); }
    Event* end() noexcept { return memory.get() + count; }
    const Event* begin() const noexcept { return memory.get(); }
    const Event* end() const noexcept { return memory.get() + count; }
    operator std::span<const Event>() const noexcept { return {memory.get(), count}; }

private:
    std::unique_ptr<Event[]> memory = std::make_unique<Event[]>(capacity);
    std::size_t count = 0;
};

/// A loop, or a recording that is to become one.
struct LoopBuffer {
    /// More than half an hour of dense playing, and, of the other messages, more than ten minutes of a hundred a
    /// second.
    EventList<LooperNoteEvent, 16'384> events;
    EventList<LooperRawEvent, 65'536> rawEvents;
    /// 0 while no loop exists.
    std::uint32_t lengthInTicks = 0;

    void clear() noexcept {
        events.clear();
        rawEvents.clear();
        lengthInTicks = 0;
    }

    void copyFrom(const LoopBuffer& other) noexcept {
        events.assign(other.events);
        rawEvents.assign(other.rawEvents);
        lengthInTicks = other.lengthInTicks;
    }
};

}  // namespace varnolex
