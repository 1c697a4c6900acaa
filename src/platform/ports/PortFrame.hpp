#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "platform/ports/MessagePorts.hpp"

namespace varnolex {

/// One message as it travels over a stream: a header of five 32-bit numbers in the machine's byte order (mark, kind,
/// serial number, message ID, length of the data), then the data.
struct PortFrame {
    enum class Kind : std::uint32_t { message, request, reply };

    static constexpr std::uint32_t mark = 0x504D5856;
    static constexpr std::size_t headerSize = 5 * sizeof(std::uint32_t);
    using Header = std::array<std::uint8_t, headerSize>;

    Kind kind = Kind::message;
    /// A reply bears the number of its request.
    std::uint32_t serial = 0;
    std::int32_t id = 0;
    std::span<const std::uint8_t> data;

    Header header() const;
    /// The whole frame behind what `output` holds.
    void appendTo(PortBytes& output) const;
};

/// Cuts a stream into frames, however it comes in pieces. What it holds is bounded by the longest frame and one piece,
/// provided that all frames are taken between two pieces.
class PortFrameReader {
public:
    void feed(std::span<const std::uint8_t> bytes);

    /// Takes the next whole frame; its data is valid until the next call of `feed`. False when there is none yet.
    bool next(PortFrame& frame);

    /// Whether the stream has held something else than frames. Nothing comes out from there on.
    bool isBroken() const { return broken; }

    /// Whether a frame has begun that isn't whole.
    bool isInsideFrame() const { return taken < held.size(); }

private:
    PortBytes held;
    std::size_t taken = 0;
    bool broken = false;
};

}  // namespace varnolex
