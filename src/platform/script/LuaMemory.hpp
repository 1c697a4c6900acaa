#pragma once

#include <array>
#include <cstddef>
#include <memory>
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
    void* resize(void* block, std::size_t formerSize, std::size_t size) noexcept;

private:
    static constexpr std::size_t step = 16;
    static constexpr std::size_t largestSmall = 512;
    static constexpr std::size_t chunkSize = 64 * 1024;

    struct FreeBlock {
        FreeBlock* next;
    };

    static std::size_t placeOf(std::size_t size) { return (size + step - 1) / step; }
    void* move(void* block, std::size_t formerSize, std::size_t size) noexcept;
    void* take(std::size_t size) noexcept;
    void put(void* block, std::size_t size) noexcept;
    bool addChunk() noexcept;

    std::array<FreeBlock*, largestSmall / step + 1> freeBlocks{};
    std::vector<std::unique_ptr<std::byte[]>> chunks;
    std::byte* unused = nullptr;
    std::size_t unusedSize = 0;
    std::size_t used = 0;
};

}  // namespace varnolex
