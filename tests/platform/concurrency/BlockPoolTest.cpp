#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "platform/concurrency/BlockPool.hpp"
#include "platform/concurrency/Mailbox.hpp"
#include "platform/concurrency/Reference.hpp"
#include "support/AllocationTrap.hpp"

namespace varnolex {
namespace {

TEST(BlockPoolTest, FindsTheSmallestClassThatFits) {
    EXPECT_EQ(BlockPool::classOf(1), 0);
    EXPECT_EQ(BlockPool::classOf(64), 0);
    EXPECT_EQ(BlockPool::classOf(65), 1);
    EXPECT_EQ(BlockPool::classOf(128), 1);
    EXPECT_EQ(BlockPool::classOf(64 * 1024), BlockPool::classCount - 1);
    EXPECT_EQ(BlockPool::classOf(64 * 1024 + 1), BlockPool::heapClass);
    EXPECT_EQ(BlockPool::classOf(~std::size_t{0}), BlockPool::heapClass);
    for (std::size_t size = 1; size <= 64 * 1024; ++size)
        ASSERT_GE(BlockPool::blockSize(BlockPool::classOf(size)), size);
}

struct Block {
    void* memory = nullptr;
    BlockPool::SizeClass sizeClass = 0;
    unsigned char mark = 0;
};

Block makeBlock(std::size_t number) {
    const std::size_t size = std::size_t{1} << (6 + number % 8);
    Block block{nullptr, BlockPool::classOf(size), static_cast<unsigned char>(number)};
    block.memory = BlockPool::allocate(block.sizeClass, size);
    std::memset(block.memory, block.mark, size);
    return block;
}

/// Whether the block still holds what was written, which it wouldn't if it had been handed out twice.
bool endBlock(const Block& block) {
    const auto* bytes = static_cast<const unsigned char*>(block.memory);
    const std::size_t size = BlockPool::blockSize(block.sizeClass);
    const bool whole = bytes[0] == block.mark && std::memcmp(bytes, bytes + 1, size - 1) == 0;
    BlockPool::release(block.memory, block.sizeClass);
    return whole;
}

TEST(BlockPoolTest, MovesBlocksFromTheirMakersToTheirEnders) {
    constexpr std::size_t blocksPerMaker = 20'000;
    Mailbox<Block> box(256);
    const auto make = [&] {
        for (std::size_t number = 0; number < blocksPerMaker; ++number) {
            Block block = makeBlock(number);
            while (!box.post(std::move(block))) std::this_thread::yield();
        }
    };
    std::thread first(make), second(make);
    std::size_t broken = 0;
    for (std::size_t ended = 0; ended < 2 * blocksPerMaker;) {
        Block block;
        if (!box.take(block)) {
            std::this_thread::yield();
            continue;
        }
        broken += endBlock(block) ? 0 : 1;
        ++ended;
    }
    first.join();
    second.join();
    EXPECT_EQ(broken, 0u);
}

TEST(BlockPoolTest, AsksTheHeapOnlyWhileTheWorkingSizeGrows) {
    const auto swing = [] {
        std::vector<Block> blocks(600);
        for (std::size_t number = 0; number < blocks.size(); ++number) blocks[number] = makeBlock(number);
        for (const Block& block : blocks) EXPECT_TRUE(endBlock(block));
    };
    swing();
    const AllocationTrap trap;
    for (int turn = 0; turn < 10; ++turn) swing();
    EXPECT_EQ(trap.count(), 10u) << "the vectors of the test and nothing else";
}

class Counted {
public:
    explicit Counted(int& endCounter) : ends(endCounter) {}
    void retain() { references.retain(); }
    void release() {
        if (!references.release()) return;
        ++ends;
        delete this;
    }

private:
    int& ends;
    ReferenceCount references;
};

TEST(ReferenceTest, EndsTheObjectWithItsLastHold) {
    int ends = 0;
    {
        auto first = Reference<Counted>::adopt(new Counted(ends));
        auto second = first;
        const auto third = Reference<Counted>::to(*second);
        EXPECT_EQ(first, third);
        first = nullptr;
        second = std::move(first);
        EXPECT_FALSE(second);
        EXPECT_EQ(ends, 0);
    }
    EXPECT_EQ(ends, 1);
}

TEST(ReferenceTest, IsCountedAcrossThreads) {
    int ends = 0;
    auto shared = Reference<Counted>::adopt(new Counted(ends));
    const auto work = [&] {
        for (int turn = 0; turn < 50'000; ++turn) {
            const auto hold = shared;
            const auto other = hold;
        }
    };
    std::thread one(work), two(work);
    one.join();
    two.join();
    EXPECT_EQ(ends, 0);
    shared = nullptr;
    EXPECT_EQ(ends, 1);
}

}  // namespace
}  // namespace varnolex
