#include "platform/ports/PortFrame.hpp"

#include <cstring>

namespace varnolex {

namespace {

/// More memory than this isn't kept for the next frames.
constexpr std::size_t keptMemory = 64 * 1024;

using HeaderNumbers = std::array<std::uint32_t, PortFrame::headerSize / sizeof(std::uint32_t)>;

}  // namespace

PortFrame::Header PortFrame::header() const {
    const HeaderNumbers numbers{mark, static_cast<std::uint32_t>(kind), serial, static_cast<std::uint32_t>(id),
                                static_cast<std::uint32_t>(data.size())};
    Header bytes;
    std::memcpy(bytes.data(), numbers.data(), bytes.size());
    return bytes;
}

void PortFrame::appendTo(PortBytes& output) const {
    const Header bytes = header();
    output.insert(output.end(), bytes.begin(), bytes.end());
    output.insert(output.end(), data.begin(), data.end());
}

void PortFrameReader::feed(std::span<const std::uint8_t> bytes) {
    if (broken) return;
    held.erase(held.begin(), held.begin() + static_cast<std::ptrdiff_t>(taken));
    taken = 0;
    if (held.empty() && held.capacity() > keptMemory) held = PortBytes();
    held.insert(held.end(), bytes.begin(), bytes.end());
}

bool PortFrameReader::next(PortFrame& frame) {
    const std::span<const std::uint8_t> rest = std::span<const std::uint8_t>(held).subspan(taken);
    if (broken || rest.size() < PortFrame::headerSize) return false;
    HeaderNumbers numbers;
    std::memcpy(numbers.data(), rest.data(), PortFrame::headerSize);
    const auto [mark, kind, serial, id, length] = numbers;
    broken = mark != PortFrame::mark || kind > static_cast<std::uint32_t>(PortFrame::Kind::reply) ||
             length > portMessageLimit;
    if (broken || rest.size() - PortFrame::headerSize < length) return false;
    frame = {static_cast<PortFrame::Kind>(kind), serial, static_cast<std::int32_t>(id),
             rest.subspan(PortFrame::headerSize, length)};
    taken += PortFrame::headerSize + length;
    return true;
}

}  // namespace varnolex
