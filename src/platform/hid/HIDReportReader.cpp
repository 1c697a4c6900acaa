#include "platform/hid/HIDReportReader.hpp"

#include <algorithm>
#include <utility>

namespace varnolex {
namespace {

constexpr std::uint32_t widestValue = 32;

/// Of a value wider than that, the lower bits.
std::uint32_t bitsAt(std::span<const std::uint8_t> data, std::size_t offset, std::uint32_t size) {
    const std::uint32_t width = std::min(size, widestValue);
    std::uint64_t gathered = 0;
    const std::size_t first = offset / 8;
    for (std::size_t index = 0; index < 5 && first + index < data.size(); ++index)
        gathered |= std::uint64_t{data[first + index]} << (8 * index);
    return static_cast<std::uint32_t>(gathered >> (offset % 8) & ((std::uint64_t{1} << width) - 1));
}

std::int64_t number(std::uint32_t bits, std::uint32_t size, bool isSigned) {
    const std::uint32_t width = std::min(size, widestValue);
    const std::int64_t beyond = std::int64_t{1} << width;
    return isSigned && bits >= beyond / 2 ? static_cast<std::int64_t>(bits) - beyond : bits;
}

bool isSigned(const HIDElement& element) { return std::min(element.logicalMinimum, element.logicalMaximum) < 0; }

std::size_t endOf(const HIDElement& element) {
    return element.bitOffset + std::size_t{element.bitSize} * std::max(element.listedPlaces, 1u);
}

}  // namespace

HIDReportReader::HIDReportReader(HIDReportDescriptor deviceDescriptor)
    : descriptor(std::move(deviceDescriptor)), latest(descriptor.elements().size()) {
    for (std::size_t index = 0; index < latest.size(); ++index)
        members[descriptor.elements()[index].reportID].push_back(static_cast<std::uint16_t>(index));
}

void HIDReportReader::read(std::span<const std::uint8_t> report, const Listener& tell) {
    std::uint8_t reportID = 0;
    if (descriptor.hasReportIDs()) {
        if (report.empty()) return;
        reportID = report.front();
        report = report.subspan(1);
    }
    for (const std::uint16_t index : members[reportID]) {
        const HIDElement& element = descriptor.elements()[index];
        if (endOf(element) > report.size() * 8) continue;
        const std::int64_t value = valueIn(report, element);
        const std::int64_t former = std::exchange(latest[index], value);
        if (element.isRelative ? value != 0 : value != former)
            tell({element, value, (std::size_t{element.bitSize} + 7) / 8});
    }
}

std::int64_t HIDReportReader::valueIn(std::span<const std::uint8_t> data, const HIDElement& element) const {
    if (element.listedPlaces == 0)
        return number(bitsAt(data, element.bitOffset, element.bitSize), element.bitSize, isSigned(element));
    for (std::uint32_t place = 0; place < element.listedPlaces; ++place) {
        const std::uint32_t bits =
            bitsAt(data, element.bitOffset + std::size_t{place} * element.bitSize, element.bitSize);
        if (number(bits, element.bitSize, element.listedNumber < 0) == element.listedNumber) return 1;
    }
    return 0;
}

}  // namespace varnolex
