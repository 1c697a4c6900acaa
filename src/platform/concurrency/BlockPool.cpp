#include "platform/concurrency/BlockPool.hpp"

#include <array>
#include <mutex>
#include <new>

#include "platform/concurrency/ShortLock.hpp"

#if defined(VARNOLEX_ADDRESS_SANITIZER)
#include <sanitizer/asan_interface.h>
#endif

namespace varnolex {

/// The bundles of free blocks that no thread holds. Lives as long as the process and owns nothing that needs an
/// end, so that blocks may come back at any time, from any thread's last breath.
class BlockDepot {
public:
    using FreeBlock = BlockPool::FreeBlock;

    void give(BlockPool::SizeClass sizeClass, FreeBlock* bundle) noexcept {
        Shelf& shelf = shelves[sizeClass];
        const std::scoped_lock hold(shelf.lock);
        bundle->nextBundle = shelf.first;
        shelf.first = bundle;
    }

    FreeBlock* take(BlockPool::SizeClass sizeClass) noexcept {
        Shelf& shelf = shelves[sizeClass];
        const std::scoped_lock hold(shelf.lock);
        FreeBlock* const bundle = shelf.first;
        if (bundle) shelf.first = bundle->nextBundle;
        return bundle;
    }

    void keepLoose(BlockPool::SizeClass sizeClass, FreeBlock* block) noexcept {
        Shelf& shelf = shelves[sizeClass];
        const std::scoped_lock hold(shelf.lock);
        block->next = shelf.loose;
        shelf.loose = block;
        if (++shelf.looseCount < BlockPool::bundleLength(sizeClass)) return;
        shelf.loose->nextBundle = shelf.first;
        shelf.first = shelf.loose;
        shelf.loose = nullptr;
        shelf.looseCount = 0;
    }

private:
    struct alignas(64) Shelf {
        ShortLock lock;
        FreeBlock* first = nullptr;
        /// Blocks that came back one by one, until they make a bundle.
        FreeBlock* loose = nullptr;
        std::uint32_t looseCount = 0;
    };

    std::array<Shelf, BlockPool::classCount> shelves;
};

namespace {

constinit BlockDepot depot;

thread_local constinit bool threadHasEnded = false;

}  // namespace

thread_local constinit BlockPool::Stock BlockPool::stocks[BlockPool::classCount + 1];

/// Gives a thread's stocks back when it ends.
struct BlockPool::ThreadEnd {
    ~ThreadEnd() {
        threadHasEnded = true;
        for (SizeClass sizeClass = 0; sizeClass < classCount; ++sizeClass) empty(stocks[sizeClass], sizeClass);
    }

    static void empty(Stock& stock, SizeClass sizeClass) {
        if (stock.spare) depot.give(sizeClass, stock.spare);
        while (stock.first) {
            FreeBlock* const block = stock.first;
            stock.first = block->next;
            depot.keepLoose(sizeClass, block);
        }
        stock = Stock{};
    }
};

bool BlockPool::openStocks() noexcept {
    if (threadHasEnded) return false;
    static thread_local ThreadEnd threadEnd;
    if (stocks[0].room == 0)
        for (SizeClass sizeClass = 0; sizeClass < classCount; ++sizeClass)
            stocks[sizeClass].room = bundleLength(sizeClass);
    return true;
}

void* BlockPool::allocateSlowly(SizeClass sizeClass, std::size_t size) {
    if (sizeClass == heapClass) return ::operator new (size, std::align_val_t{smallestBlock});
    openStocks();
    Stock& stock = stocks[sizeClass];
    refill(stock, sizeClass);
    void* const block = take(stock, sizeClass);
    if (threadHasEnded) ThreadEnd::empty(stock, sizeClass);
    return block;
}

void BlockPool::refill(Stock& stock, SizeClass sizeClass) {
    FreeBlock* bundle = stock.spare;
    stock.spare = nullptr;
    if (!bundle) bundle = depot.take(sizeClass);
    if (!bundle) bundle = carveBundle(sizeClass);
    stock.first = bundle;
    stock.count = bundleLength(sizeClass);
}

BlockPool::FreeBlock* BlockPool::carveBundle(SizeClass sizeClass) {
    const std::size_t size = blockSize(sizeClass);
    const std::uint32_t length = bundleLength(sizeClass);
    auto* const memory = static_cast<std::byte*>(::operator new (size* length, std::align_val_t{smallestBlock}));
    FreeBlock* first = nullptr;
    for (std::uint32_t index = length; index-- > 0;) {
        void* const place = memory + index * size;
        first = new (place) FreeBlock{first, nullptr};
        markBlock(place, size, true);
    }
    return first;
}

void BlockPool::releaseSlowly(void* block, SizeClass sizeClass) noexcept {
    if (sizeClass == heapClass) return ::operator delete (block, std::align_val_t{smallestBlock});
    if (!openStocks()) {
        markBlock(block, blockSize(sizeClass), true);
        return depot.keepLoose(sizeClass, static_cast<FreeBlock*>(block));
    }
    Stock& stock = stocks[sizeClass];
    if (stock.count == stock.room) {
        if (stock.spare) depot.give(sizeClass, stock.spare);
        stock.spare = stock.first;
        stock.first = nullptr;
        stock.count = 0;
    }
    put(stock, block, sizeClass);
}

void poisonFreeBlock([[maybe_unused]] void* block, [[maybe_unused]] std::size_t size,
                     [[maybe_unused]] bool isFree) noexcept {
#if defined(VARNOLEX_ADDRESS_SANITIZER)
    constexpr std::size_t links = 16;
    auto* const behind = static_cast<std::byte*>(block) + links;
    if (isFree)
        __asan_poison_memory_region(behind, size - links);
    else
        __asan_unpoison_memory_region(behind, size - links);
#endif
}

}  // namespace varnolex
