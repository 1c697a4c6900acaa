#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>

#include "platform/concurrency/BlockPool.hpp"

namespace varnolex {

/// Bytes of their own in pooled memory, for work that another thread does later: made and moved without the general
/// heap, ended on any thread.
class PooledBytes {
public:
    PooledBytes() = default;

    /// Throws `std::bad_alloc` when the system has no more memory.
    explicit PooledBytes(std::span<const std::uint8_t> bytes)
        : count(bytes.size()),
          sizeClass(BlockPool::classOf(count)),
          block(static_cast<std::uint8_t*>(BlockPool::allocate(sizeClass, count))) {
        if (count > 0) std::memcpy(block, bytes.data(), count);
    }
    explicit PooledBytes(std::string_view text)
        : PooledBytes(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size())) {}

    PooledBytes(PooledBytes&& other) noexcept { *this = std::move(other); }
    PooledBytes& operator=(PooledBytes&& other) noexcept {
        std::swap(count, other.count);
        std::swap(sizeClass, other.sizeClass);
        std::swap(block, other.block);
        return *this;
    }
    ~PooledBytes() {
        if (block) BlockPool::release(block, sizeClass);
    }

    std::span<const std::uint8_t> bytes() const { return {block, count}; }
    std::span<std::uint8_t> bytes() { return {block, count}; }
    std::string_view text() const { return {reinterpret_cast<const char*>(block), count}; }

private:
    std::size_t count = 0;
    BlockPool::SizeClass sizeClass = 0;
    std::uint8_t* block = nullptr;
};

}  // namespace varnolex
