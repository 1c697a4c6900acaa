#include "platform/DiagnosticImage.hpp"

#include <utility>

namespace varnolex {

namespace {

constexpr std::string_view magic = "VXD\x02";
constexpr std::size_t headOffset = 4;
constexpr std::size_t epochOffset = 8;

}  // namespace

DiagnosticImage::DiagnosticImage(std::uint32_t epochSeconds) : image(size, '\0') {
    image.replace(0, magic.size(), magic);
    putNumber(headOffset, static_cast<std::uint32_t>(nextOffset));
    putNumber(epochOffset, epochSeconds);
}

DiagnosticImage::DiagnosticImage(std::string taken) : image(std::move(taken)) {
    const std::uint32_t head = numberAt(headOffset);
    if (head >= firstOffset && head < size) nextOffset = head;
}

std::optional<DiagnosticImage> DiagnosticImage::fromBytes(std::string bytes) {
    if (bytes.size() != size || !bytes.starts_with(magic)) return std::nullopt;
    return DiagnosticImage(std::move(bytes));
}

std::uint32_t DiagnosticImage::epoch() const { return numberAt(epochOffset); }

void DiagnosticImage::write(const Record& record) {
    putByte(static_cast<std::uint8_t>(record.kind));
    putByte(static_cast<std::uint8_t>(record.delta >> 8));
    putByte(static_cast<std::uint8_t>(record.delta));
    for (const std::uint8_t byte : record.payload) putByte(byte);
    putNumber(headOffset, static_cast<std::uint32_t>(nextOffset));
}

std::vector<DiagnosticImage::Record> DiagnosticImage::records() const {
    std::vector<Record> found;
    std::size_t offset = nextOffset;
    const auto take = [&] {
        const std::uint8_t byte = byteAt(offset);
        offset = offset + 1 < size ? offset + 1 : firstOffset;
        return byte;
    };
    for (std::size_t index = 0; index < recordCount; ++index) {
        Record record;
        record.kind = static_cast<DiagnosticKind>(take());
        record.delta = static_cast<std::uint16_t>(take() << 8);
        record.delta = static_cast<std::uint16_t>(record.delta | take());
        for (std::uint8_t& byte : record.payload) byte = take();
        // A place that was never written.
        if (record.kind == DiagnosticKind{0}) continue;
        found.push_back(record);
    }
    return found;
}

void DiagnosticImage::putByte(std::uint8_t byte) {
    image[nextOffset] = static_cast<char>(byte);
    nextOffset = nextOffset + 1 < size ? nextOffset + 1 : firstOffset;
}

std::uint32_t DiagnosticImage::numberAt(std::size_t offset) const {
    std::uint32_t number = 0;
    for (std::size_t index = 0; index < sizeof number; ++index) number = number << 8 | byteAt(offset + index);
    return number;
}

void DiagnosticImage::putNumber(std::size_t offset, std::uint32_t number) {
    for (std::size_t index = sizeof number; index-- > 0; number >>= 8)
        image[offset + index] = static_cast<char>(number & 0xFF);
}

}  // namespace varnolex
