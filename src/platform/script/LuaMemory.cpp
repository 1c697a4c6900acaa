#include "platform/script/LuaMemory.hpp"

#include <algorithm>
#include <cstring>

namespace varnolex {

void* LuaMemory::move(void* block, std::size_t formerSize, std::size_t size) noexcept {
    if (size > formerSize && size - formerSize > limit - used) return nullptr;
    const bool isSmall = size <= largestSmall;
    const bool wasSmall = formerSize <= largestSmall;
    if (isSmall && wasSmall && placeOf(formerSize) == placeOf(size)) {
        used += size - formerSize;
        return block;
    }
    if (!isSmall && !wasSmall) {
        void* const moved = std::realloc(block, size);
        if (moved) used += size - formerSize;
        return moved;
    }
    void* const moved = take(size);
    if (!moved) return nullptr;
    std::memcpy(moved, block, std::min(formerSize, size));
    release(block, formerSize);
    return moved;
}

void* LuaMemory::takeLarge(std::size_t size) noexcept {
    void* const block = std::malloc(size);
    if (block) used += size;
    return block;
}

void* LuaMemory::takeNew(std::size_t size) noexcept {
    const std::size_t whole = placeOf(size) * step;
    if (unusedSize < whole && !addChunk()) return nullptr;
    void* const block = unused;
    unused += whole;
    unusedSize -= whole;
    used += size;
    return block;
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
