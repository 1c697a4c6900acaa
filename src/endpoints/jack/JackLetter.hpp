#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <span>

#include "endpoints/MIDIService.hpp"
#include "platform/concurrency/BlockPool.hpp"

namespace varnolex {

/// Bytes of one packet on their way out, in pooled memory: made on the sender's thread, ended on the process thread.
class JackLetter {
public:
    struct End {
        void operator()(JackLetter* letter) const {
            const auto sizeClass = letter->sizeClass;
            letter->~JackLetter();
            BlockPool::release(letter, sizeClass);
        }
    };
    using Pointer = std::unique_ptr<JackLetter, End>;

    /// A longer packet takes several letters. With its head one of this length fills a block of the pool.
    static constexpr std::size_t longest = 32'000;

    static Pointer make(MIDIPortRef sender, std::span<const std::uint8_t> packet) {
        const std::size_t size = sizeof(JackLetter) + packet.size();
        const auto sizeClass = BlockPool::classOf(size);
        return Pointer(new (BlockPool::allocate(sizeClass, size)) JackLetter(sender, packet, sizeClass));
    }

    std::span<const std::uint8_t> bytes() const { return {reinterpret_cast<const std::uint8_t*>(this + 1), length}; }

    /// Whether the letter is to wait for `time`; else it is due at `frame`.
    bool isAhead = false;
    /// Nothing but real-time bytes, which may go between the pieces of a SysEx.
    bool isRealTime = false;
    /// The running status of the bytes that were cut so far.
    std::uint8_t status = 0;
    /// What it was sent through; a SysEx goes on with letters of the same sender alone.
    const MIDIPortRef sender;
    std::int64_t frame = 0;
    HostTime time = 0;
    /// The order in which letters came in.
    std::uint64_t number = 0;
    /// How many bytes are out already.
    std::size_t taken = 0;
    JackLetter* next = nullptr;

private:
    JackLetter(MIDIPortRef sentThrough, std::span<const std::uint8_t> packet, BlockPool::SizeClass memoryClass)
        : sender(sentThrough), length(packet.size()), sizeClass(memoryClass) {
        isRealTime = std::ranges::all_of(packet, [](std::uint8_t byte) { return byte >= 0xF8; });
        std::memcpy(static_cast<void*>(this + 1), packet.data(), packet.size());
    }

    const std::size_t length;
    const BlockPool::SizeClass sizeClass;
};

}  // namespace varnolex
