#pragma once

#include <atomic>
#include <cstdint>

namespace varnolex {

/// The stretch of a thread's way in which it reads objects that others replace. What was replaced may be freed when
/// every thread has left the sections that it was in at the moment of the replacement. Entering costs one ordered store
/// into a place of the thread's own, entering again inside a section nothing but a count. Any thread; no lock, and no
/// allocation. Objects of this type live on the stack.
class ReadSection {
public:
    ReadSection() noexcept {
        if (visitor.depth++ == 0) enter();
    }
    ~ReadSection() {
        if (--visitor.depth == 0) leave();
    }
    ReadSection(const ReadSection&) = delete;
    ReadSection& operator=(const ReadSection&) = delete;

    /// For whoever has just replaced something (sequentially consistent): a number to ask `haveAllLeft` with.
    static std::uint64_t nextGeneration() noexcept { return generation.fetch_add(1, std::memory_order_seq_cst) + 1; }

    /// Whether no thread is inside a section any more that it entered before this generation began.
    static bool haveAllLeft(std::uint64_t replaced) noexcept;

private:
    /// Where one thread says which generation it entered in, 0 outside.
    struct alignas(64) Place {
        std::atomic<std::uint64_t> entered{0};
        std::atomic<bool> isTaken{false};
    };

    /// What a thread knows of itself. It needs no destructor, so that reaching it costs no check.
    struct Visitor {
        Place* place;
        std::uint32_t depth;
        bool isWithoutPlace;
    };

    /// Gives a thread's place back when the thread ends.
    struct Departure {
        ~Departure();
    };

    static void enter() noexcept {
        if (!visitor.place) [[unlikely]]
            return enterWithoutPlace();
        visitor.place->entered.store(generation.load(std::memory_order_relaxed), std::memory_order_seq_cst);
    }

    static void leave() noexcept {
        if (!visitor.place) [[unlikely]]
            return leaveWithoutPlace();
        visitor.place->entered.store(0, std::memory_order_release);
    }

    static void enterWithoutPlace() noexcept;
    static void leaveWithoutPlace() noexcept;
    static Place* takePlace() noexcept;

    static constexpr std::uint32_t placeCount = 256;
    static Place places[placeCount];
    /// How many places have ever been taken: what has to be looked at.
    static std::atomic<std::uint32_t> usedPlaces;
    /// Threads inside a section for which no place was left, or which are ending.
    static std::atomic<std::uint32_t> visitorsWithoutPlace;

    static inline std::atomic<std::uint64_t> generation{1};
    static inline thread_local constinit Visitor visitor{};
};

}  // namespace varnolex
