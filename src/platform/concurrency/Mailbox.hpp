#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

namespace varnolex {

/// A bounded mailbox from any number of threads to one reader. Posting never waits, locks or allocates: when the
/// box is full the letter is refused and counted. Letters of one sender arrive in its order.
template <class Letter>
class Mailbox {
public:
    /// `capacity` is rounded up to a power of two.
    explicit Mailbox(std::size_t capacity) {
        std::size_t size = 2;
        while (size < capacity) size *= 2;
        cells = std::make_unique<Cell[]>(size);
        mask = size - 1;
        for (std::size_t index = 0; index < size; ++index) cells[index].turn.store(index, std::memory_order_relaxed);
    }

    /// Any thread. False when the box is full.
    bool post(Letter&& letter) noexcept {
        std::size_t position = tail.load(std::memory_order_relaxed);
        for (;;) {
            Cell& cell = cells[position & mask];
            const std::size_t turn = cell.turn.load(std::memory_order_acquire);
            if (turn == position) {
                if (tail.compare_exchange_weak(position, position + 1, std::memory_order_relaxed)) {
                    cell.letter = std::move(letter);
                    cell.turn.store(position + 1, std::memory_order_release);
                    return true;
                }
            } else if (turn < position) {
                lost.fetch_add(1, std::memory_order_relaxed);
                return false;
            } else {
                position = tail.load(std::memory_order_relaxed);
            }
        }
    }

    /// The reader. False when the box is empty.
    bool take(Letter& letter) {
        Cell& cell = cells[head & mask];
        if (cell.turn.load(std::memory_order_acquire) != head + 1) return false;
        letter = std::move(cell.letter);
        cell.letter = Letter{};
        cell.turn.store(head + mask + 1, std::memory_order_release);
        ++head;
        return true;
    }

    /// How many letters were refused so far. Any thread.
    std::uint64_t lostLetters() const noexcept { return lost.load(std::memory_order_relaxed); }

private:
    struct Cell {
        std::atomic<std::size_t> turn{0};
        Letter letter{};
    };

    std::unique_ptr<Cell[]> cells;
    std::size_t mask = 0;
    std::atomic<std::size_t> tail{0};
    std::size_t head = 0;
    std::atomic<std::uint64_t> lost{0};
};

}  // namespace varnolex
