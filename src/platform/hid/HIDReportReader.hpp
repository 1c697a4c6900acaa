#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "platform/hid/HIDReportDescriptor.hpp"

namespace varnolex {

/// A control of a device has a new value.
struct HIDValue {
    const HIDElement& element;
    std::int64_t value;
    /// What the value takes in a report.
    std::size_t byteCount;
};

/// Finds in the reports of one device what has changed. Before its first report every control counts as at 0. One
/// thread at a time.
class HIDReportReader {
public:
    using Listener = std::function<void(const HIDValue&)>;

    explicit HIDReportReader(HIDReportDescriptor deviceDescriptor);

    /// A report as it was sent, with its number where the device has any. What a short one leaves out is left alone.
    void read(std::span<const std::uint8_t> report, const Listener& tell);

private:
    std::int64_t valueIn(std::span<const std::uint8_t> data, const HIDElement& element) const;

    const HIDReportDescriptor descriptor;
    /// The elements of each report, by index.
    std::array<std::vector<std::uint16_t>, 256> members;
    std::vector<std::int64_t> latest;
};

}  // namespace varnolex
