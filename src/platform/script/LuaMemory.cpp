#include "platform/script/LuaMemory.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace varnolex {

void* LuaMemory::resize(void* block, std::size_t formerSize, std::size_t size) noexcept {
    // For a new block the former size tells what it is for.
    if (!block) formerSize = 0;
    if (size > formerSize && size - formerSize > limit - std::min(used, limit)) return nullptr;
    void* const moved = move(block, formerSize, size);
    if (moved || size == 0) used += size - formerSize;
    return moved;
}

void* LuaMemory::move(void* block, std::size_t formerSize, std::size_t size) noexcept {
    if (formerSize > largestSmall && size > largestSmall) return std::realloc(block, size);
    const bool staysInPlace = formerSize > 0 && formerSize <= largestSmall && placeOf(formerSize) == placeOf(size);
    if (staysInPlace) return block;
    void* moved = nullptr;
    if (size > 0) {
        moved = take(size);
        if (!moved) return nullptr;
        if (formerSize > 0) std::memcpy(moved, block, std::min(formerSize, size));
    }
    if (formerSize > 0) put(block, formerSize);
    return moved;
}

void* LuaMemory::take(std::size_t size) noexcept {
    if (size > largestSmall) return std::malloc(size);
    const std::size_t place = placeOf(size);
    if (FreeBlock* const block = freeBlocks[place]) {
        freeBlocks[place] = block->next;
        return block;
    }
    if (unusedSize < place * step && !addChunk()) return nullptr;
    void* const block = unused;
    unused += place * step;
    unusedSize -= place * step;
    return block;
}

void LuaMemory::put(void* block, std::size_t size) noexcept {
    if (size > largestSmall) return std::free(block);
    auto* const freed = static_cast<FreeBlock*>(block);
    freed->next = freeBlocks[placeOf(size)];
    freeBlocks[placeOf(size)] = freed;
}

/// What the chunk before still has is left: less than one small block.
bool LuaMemory::addChunk() noexcept {
    try {
        chunks.push_back(std::make_unique_for_overwrite<std::byte[]>(chunkSize));
    } catch (const std::bad_alloc&) {
        return false;
    }
    unused = chunks.back().get();
    unusedSize = chunkSize;
    return true;
}

}  // namespace varnolex
