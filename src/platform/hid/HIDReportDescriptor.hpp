#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <vector>

namespace varnolex {

/// What a control or a device is for, in the numbers of the published usage tables.
struct HIDUsage {
    std::uint16_t page = 0;
    std::uint16_t usage = 0;

    bool operator==(const HIDUsage&) const = default;
};

/// One control of a device: a button, an axis.
struct HIDElement {
    /// Its number among the controls of its device, from 1: the same whenever the device is plugged in.
    std::uint32_t cookie = 0;
    HIDUsage usage;
    /// As the device says; the smaller one may come second.
    std::int64_t logicalMinimum = 0;
    std::int64_t logicalMaximum = 0;
    /// Of its value in a report.
    std::uint32_t bitSize = 0;
    /// Whether it tells a movement and not a position.
    bool isRelative = false;

    // Where its value stands.
    std::uint8_t reportID = 0;
    std::uint32_t bitOffset = 0;

    /// On a control that shares places with others, which of them are down being listed there: how many places there
    /// are, and the number by which it is listed.
    std::uint32_t listedPlaces = 0;
    std::int64_t listedNumber = 0;
};

/// A descriptor that can't be read. The text names the offset.
class HIDDescriptorError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What a device says of the reports that it sends.
class HIDReportDescriptor {
public:
    /// As long as the system takes it.
    static constexpr std::size_t longest = 4096;
    static constexpr std::size_t mostElements = 2048;
    static constexpr std::uint32_t longestReportBits = 16'384 * 8;

    /// Throws `HIDDescriptorError`.
    static HIDReportDescriptor parse(std::span<const std::uint8_t> bytes);

    /// Those that the device sends, by cookie: entry n has cookie n + 1.
    const std::vector<HIDElement>& elements() const { return inputs; }

    /// What the device is as a whole, one usage for each of its applications.
    const std::vector<HIDUsage>& applications() const { return topUsages; }

    /// Whether reports begin with a number.
    bool hasReportIDs() const { return numbered; }

private:
    class Reading;

    std::vector<HIDElement> inputs;
    std::vector<HIDUsage> topUsages;
    bool numbered = false;
};

}  // namespace varnolex
