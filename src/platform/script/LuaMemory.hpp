#pragma once

#include <array>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace varnolex {

/// The memory of one Lua state: small blocks come from chunks of its own, so that a script's steady work doesn't go to
/// the general heap, and all of it is bounded.
class LuaMemory {
public:
    /// A script that wants more gets Lua's "not enough memory".
    static constexpr std::size_t limit = std::size_t{256} << 20;

    LuaMemory() = default;
    LuaMemory(const LuaMemory&) = delete;
    LuaMemory& operator=(const LuaMemory&) = delete;

    /// As Lua's allocation function has it: `size` 0 frees. Null when there is no more.
    void* resize(void* block, std::size_t formerSize, std::size_t size) noexcept {
        if (size == 0) return release(block, formerSize);
        // For a new block the former size tells what it is for.
        if (block) return move(block, formerSize, size);
        return size > limit - used ? nullptr : take(size);
    }

    /// Whether so much is in use that the limit isn't far.
    bool isLarge() const noexcept { return used > limit / 16; }

private:
    static constexpr std::size_t step = 16;
    static constexpr std::size_t largestSmall = 512;
    static constexpr std::size_t chunkSize = 64 * 1024;

    struct FreeBlock {
        FreeBlock* next;
    };

    static std::size_t placeOf(std::size_t size) { return (size + step - 1) / step; }

    // The steady work of a script, tables that come and go, runs through these two.

    void* take(std::size_t size) noexcept {
        if (size > largestSmall) return takeLarge(size);
        FreeBlock*& first = freeBlocks[placeOf(size)];
        if (!first) return takeNew(size);
        used += size;
        return std::exchange(first, first->next);
    }

    void* release(void* block, std::size_t size) noexcept {
        if (!block) return nullptr;
        used -= size;
        if (size > largestSmall) {
            std::free(block);
        } else {
            FreeBlock*& first = freeBlocks[placeOf(size)];
            first = new (block) FreeBlock{first};
        }
        return nullptr;
    }

    void* move(void* block, std::size_t formerSize, std::size_t size) noexcept;
    void* takeLarge(std::size_t size) noexcept;
    void* takeNew(std::size_t size) noexcept;
    bool addChunk() noexcept;

    std::array<FreeBlock*, largestSmall / step + 1> freeBlocks{};
    std::vector<std::unique_ptr<std::byte[]>> chunks;
    std::byte* unused = nullptr;
    std::size_t unusedSize = 0;
    std::size_t used = 0;
};

}  // namespace varnolex
