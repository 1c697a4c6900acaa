#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "platform/Sanitizer.hpp"

namespace varnolex {

/// Memory for small objects that one thread makes and another one ends, many thousand times a second. Each thread
/// has a stock of free blocks by size; full stocks move between threads in bundles, through a lock held for a few
/// instructions, so that the general heap is asked only while the working size still grows. Blocks are aligned to
/// their cache lines and never go back to the heap. Any thread.
class BlockPool {
public:
    using SizeClass = std::uint8_t;

    /// Sizes up to 64 KiB are pooled, by powers of two; anything larger comes from the heap each time.
    static constexpr std::size_t smallestBlock = 64;
    static constexpr SizeClass classCount = 11;
    static constexpr SizeClass heapClass = classCount;

    static constexpr SizeClass classOf(std::size_t size) {
        const auto rank =
            static_cast<std::size_t>(size <= smallestBlock ? 0 : std::bit_width((size - 1) / smallestBlock));
        return rank < classCount ? static_cast<SizeClass>(rank) : heapClass;
    }

    static constexpr std::size_t blockSize(SizeClass sizeClass) { return smallestBlock << sizeClass; }

    /// A block of at least `size` bytes, which must belong to `sizeClass`. Throws `std::bad_alloc` when the
    /// system has no more memory.
    static void* allocate(SizeClass sizeClass, std::size_t size) {
        Stock& stock = stocks[sizeClass];
        if (stock.count > 0) return take(stock, sizeClass);
        return allocateSlowly(sizeClass, size);
    }

    static void release(void* block, SizeClass sizeClass) noexcept {
        Stock& stock = stocks[sizeClass];
        if (stock.count < stock.room) return put(stock, block, sizeClass);
        releaseSlowly(block, sizeClass);
    }

private:
    friend class BlockDepot;

    /// What a free block holds in its own memory.
    struct FreeBlock {
        FreeBlock* next;
        FreeBlock* nextBundle;
    };

    struct alignas(32) Stock {
        FreeBlock* first = nullptr;
        std::uint32_t count = 0;
        /// 0 until the thread has come here for the first time, and again after it has ended.
        std::uint32_t room = 0;
        /// A second bundle, always full, so that a thread that swings around a full or empty stock needn't trade.
        FreeBlock* spare = nullptr;
    };

    struct ThreadEnd;

    static void* take(Stock& stock, SizeClass sizeClass) noexcept;
    static void put(Stock& stock, void* block, SizeClass sizeClass) noexcept;
    static void* allocateSlowly(SizeClass sizeClass, std::size_t size);
    static void releaseSlowly(void* block, SizeClass sizeClass) noexcept;
    static void refill(Stock& stock, SizeClass sizeClass);
    static FreeBlock* carveBundle(SizeClass sizeClass);
    static bool openStocks() noexcept;

    /// Blocks in a bundle: about a page's worth, one when blocks are larger.
    static constexpr std::uint32_t bundleLength(SizeClass sizeClass) {
        return sizeClass < 6 ? std::uint32_t{64} >> sizeClass : 1;
    }

    /// One for each class, and one that stays empty and without room, so that heap blocks need no question of their
    /// own.
    [[gnu::visibility("hidden")]] static thread_local constinit Stock stocks[classCount + 1];
};

/// Under the address sanitizer a free block is poisoned behind its links, so that a use after the end is found.
void poisonFreeBlock(void* block, std::size_t size, bool isFree) noexcept;

inline void markBlock([[maybe_unused]] void* block, [[maybe_unused]] std::size_t size,
                      [[maybe_unused]] bool isFree) noexcept {
#if defined(VARNOLEX_ADDRESS_SANITIZER)
    poisonFreeBlock(block, size, isFree);
#endif
}

inline void* BlockPool::take(Stock& stock, SizeClass sizeClass) noexcept {
    FreeBlock* const block = stock.first;
    stock.first = block->next;
    --stock.count;
    // Whoever takes one takes more: the next one comes into the cache while this one is filled.
    __builtin_prefetch(stock.first, 1);
    markBlock(block, blockSize(sizeClass), false);
    return block;
}

inline void BlockPool::put(Stock& stock, void* block, SizeClass sizeClass) noexcept {
    markBlock(block, blockSize(sizeClass), true);
    auto* const free = static_cast<FreeBlock*>(block);
    free->next = stock.first;
    stock.first = free;
    ++stock.count;
}

}  // namespace varnolex
