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

/// Bytes of one packet on their way out, in pooled memory: made on the sender's thread, ended on the one that delivers.
class OutgoingLetter {
public:
    struct End {
        void operator()(OutgoingLetter* letter) const {
            const auto memoryClass = letter->sizeClass;
            letter->~OutgoingLetter();
            BlockPool::release(letter, memoryClass);
        }
    };
    using Pointer = std::unique_ptr<OutgoingLetter, End>;

    /// A longer packet takes several letters. With its head one of this length fills a block of the pool.
    static constexpr std::size_t longest = 32'000;

    static Pointer make(MIDIPortRef sender, std::span<const std::uint8_t> packet) {
        const std::size_t size = sizeof(OutgoingLetter) + packet.size();
        const auto memoryClass = BlockPool::classOf(size);
        return Pointer(new (BlockPool::allocate(memoryClass, size)) OutgoingLetter(sender, packet, memoryClass));
    }

    std::span<const std::uint8_t> bytes() const { return {reinterpret_cast<const std::uint8_t*>(this + 1), length}; }

    /// Whether `time` lay ahead when it was sent.
    bool isAhead = false;
    /// Nothing but real-time bytes, which may go between the pieces of a SysEx.
    bool isRealTime = false;
    /// The running status of the bytes that were cut so far.
    std::uint8_t status = 0;
    /// What it was sent through; a SysEx goes on with letters of the same sender alone.
    const MIDIPortRef sender;
    /// When it is to leave: the packet's own time, or that of its sending.
    HostTime time = 0;
    /// For a service that counts frames: where it is to stand, unless it waits for `time`.
    std::int64_t frame = 0;
    /// The order in which letters came in.
    std::uint64_t number = 0;
    /// How many bytes are out already.
    std::size_t taken = 0;
    OutgoingLetter* next = nullptr;

private:
    OutgoingLetter(MIDIPortRef sentThrough, std::span<const std::uint8_t> packet, BlockPool::SizeClass memoryClass)
        : sender(sentThrough), length(packet.size()), sizeClass(memoryClass) {
        isRealTime = std::ranges::all_of(packet, [](std::uint8_t byte) { return byte >= 0xF8; });
        std::memcpy(static_cast<void*>(this + 1), packet.data(), packet.size());
    }

    const std::size_t length;
    const BlockPool::SizeClass sizeClass;
};

}  // namespace varnolex
