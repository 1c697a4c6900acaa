// USES platform
#include <algorithm>

#include "FuzzInput.hpp"
#include "platform/hid/HIDReportReader.hpp"

/// The first byte says in eighths of the input how much of it is a descriptor, the second one how long a report is; the
/// rest are reports.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace varnolex;
    if (size < 2) return 0;
    std::span<const std::uint8_t> rest(data + 2, size - 2);
    const std::size_t described = rest.size() * (data[0] % 9u) / 8;
    const std::size_t reportLength = data[1] + 1u;
    HIDReportDescriptor descriptor;
    try {
        descriptor = HIDReportDescriptor::parse(rest.first(described));
    } catch (const HIDDescriptorError& fault) {
        require(std::string_view(fault.what()).starts_with("offset "), "an error names its place");
        return 0;
    }
    std::uint32_t expected = 0;
    for (const HIDElement& element : descriptor.elements()) {
        require(element.cookie == ++expected, "cookies count up from 1");
        require(element.bitOffset + std::uint64_t{element.bitSize} <= HIDReportDescriptor::longestReportBits,
                "a value stands inside of a report");
    }
    HIDReportReader reader(descriptor);
    rest = rest.subspan(described);
    for (int count = 0; count < 64 && !rest.empty(); ++count) {
        const std::size_t length = std::min(reportLength, rest.size());
        reader.read(rest.first(length), [&](const HIDValue& value) {
            const std::size_t width = std::min<std::size_t>(value.element.bitSize, 32);
            require(value.value >= -(std::int64_t{1} << width) && value.value < std::int64_t{1} << width,
                    "a value has no more bits than its control");
            require(value.element.bitOffset < length * 8, "nothing is read behind a report");
        });
        rest = rest.subspan(length);
    }
    return 0;
}
