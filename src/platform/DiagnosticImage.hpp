#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varnolex {

/// What a record of the flight recorder tells of. The numbers are those of the file; docs/flight-recorder.md tells what
/// the payload of each holds.
enum class DiagnosticKind : std::uint8_t {
    applicationStart = 1,
    tool = 2,
    rebuildStart = 3,
    received = 4,
    sent = 5,
    inputEvent = 7,
    floodEntered = 8,
    floodLeft = 9,
    rebuildEnd = 12,
    outputStatus = 13,
    outputEvent = 14,
    portCreationFailure = 15,
    mutedDrop = 16,
    endpointsChanged = 17,
    parameterSequence = 19,
};

/// The bytes 3 to 7 of a record.
using DiagnosticPayload = std::array<std::uint8_t, 5>;

/// The file of the flight recorder as it lies in memory: a header of 16 bytes, and a ring of records of 8 bytes. All
/// numbers of the header are big-endian. A plain value.
class DiagnosticImage {
public:
    static constexpr std::size_t size = 0x80000;
    static constexpr std::size_t firstOffset = 16;
    static constexpr std::size_t recordSize = 8;
    static constexpr std::size_t recordCount = (size - firstOffset) / recordSize;
    static constexpr std::uint16_t longestDelta = 65535;

    struct Record {
        DiagnosticKind kind{};
        /// Seconds since the record before; `longestDelta` also stands for more, and for a clock that stepped back.
        std::uint16_t delta = 0;
        DiagnosticPayload payload{};
    };

    /// An empty image. `epochSeconds` is the calendar time at which its records begin.
    explicit DiagnosticImage(std::uint32_t epochSeconds);

    /// The image that a file holds, or nothing when it holds none.
    static std::optional<DiagnosticImage> fromBytes(std::string bytes);

    /// Seconds of the calendar at which the records begin.
    std::uint32_t epoch() const;

    /// Where the next record goes, which is where the oldest one stands.
    std::size_t head() const { return nextOffset; }

    void write(const Record& record);

    /// What was written so far, oldest first.
    std::vector<Record> records() const;

    /// The file's bytes, always `size` of them.
    const std::string& bytes() const { return image; }

private:
    explicit DiagnosticImage(std::string taken);

    void putByte(std::uint8_t byte);
    std::uint8_t byteAt(std::size_t offset) const { return static_cast<std::uint8_t>(image[offset]); }
    std::uint32_t numberAt(std::size_t offset) const;
    void putNumber(std::size_t offset, std::uint32_t number);

    std::string image;
    std::size_t nextOffset = firstOffset;
};

}  // namespace varnolex
