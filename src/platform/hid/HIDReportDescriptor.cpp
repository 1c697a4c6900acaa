#include "platform/hid/HIDReportDescriptor.hpp"

#include <algorithm>
#include <array>
#include <string>

namespace varnolex {
namespace {

constexpr std::size_t deepestStack = 16;
constexpr std::uint8_t longItem = 0xFE;
/// Of a list of what is down: more than anybody has fingers.
constexpr std::uint32_t mostPlaces = 256;

enum Kind : std::uint8_t { mainItem, globalItem, localItem };

// Tags of main items.
constexpr std::uint8_t input = 8;
constexpr std::uint8_t collection = 10;
constexpr std::uint8_t endCollection = 12;
constexpr std::uint8_t applicationCollection = 1;

// What an input is.
constexpr std::uint32_t isConstant = 1;
constexpr std::uint32_t isVariable = 2;
constexpr std::uint32_t isRelativeValue = 4;

struct Item {
    Kind kind;
    std::uint8_t tag;
    std::uint32_t value;
    /// In bytes: 0, 1, 2 or 4.
    std::size_t size;

    std::int64_t signedValue() const {
        if (size == 1) return static_cast<std::int8_t>(value);
        if (size == 2) return static_cast<std::int16_t>(value);
        return static_cast<std::int32_t>(value);
    }
};

/// What holds until it is said otherwise.
struct Globals {
    std::uint16_t usagePage = 0;
    std::int64_t logicalMinimum = 0;
    Item logicalMaximum{globalItem, 2, 0, 1};
    std::uint32_t reportSize = 0;
    std::uint32_t reportCount = 0;
    std::uint8_t reportID = 0;

    /// Devices that count from 0 mean an unsigned number, whatever room they have left for its sign.
    std::int64_t maximum() const {
        return logicalMinimum < 0 ? logicalMaximum.signedValue() : static_cast<std::int64_t>(logicalMaximum.value);
    }
};

/// What holds for the next main item.
struct Locals {
    std::vector<HIDUsage> usages;
    std::optional<HIDUsage> minimum;
};

}  // namespace

class HIDReportDescriptor::Reading {
public:
    Reading(std::span<const std::uint8_t> descriptor, HIDReportDescriptor& described)
        : bytes(descriptor), result(described) {}

    void run() {
        if (bytes.size() > longest) refuse("it is longer than " + std::to_string(longest) + " bytes");
        while (offset < bytes.size()) {
            itemOffset = offset;
            if (const auto item = next()) take(*item);
        }
        if (depth != 0) refuse("a collection has no end");
    }

private:
    [[noreturn]] void refuse(const std::string& reason) const {
        throw HIDDescriptorError("offset " + std::to_string(itemOffset) + ": " + reason);
    }

    /// Nothing for one that no device of today means anything by.
    std::optional<Item> next() {
        const std::uint8_t head = bytes[offset++];
        if (head == longItem) {
            if (offset + 2 > bytes.size() || bytes[offset] > bytes.size() - offset - 2) refuse("an item is cut off");
            offset += 2u + bytes[offset];
            return std::nullopt;
        }
        const std::size_t size = (head & 3) == 3 ? 4 : head & 3;
        if (size > bytes.size() - offset) refuse("an item is cut off");
        std::uint32_t value = 0;
        for (std::size_t index = 0; index < size; ++index)
            value |= static_cast<std::uint32_t>(bytes[offset + index]) << (8 * index);
        offset += size;
        return Item{static_cast<Kind>(head >> 2 & 3), static_cast<std::uint8_t>(head >> 4), value, size};
    }

    void take(const Item& item) {
        if (item.kind == globalItem) return takeGlobal(item);
        if (item.kind == localItem) return takeLocal(item);
        if (item.kind != mainItem) return;
        if (item.tag == input) addInput(item.value);
        if (item.tag == collection) open(item.value);
        if (item.tag == endCollection && depth-- == 0) refuse("a collection ends that hasn't begun");
        locals = {};
    }

    void takeGlobal(const Item& item) {
        switch (item.tag) {
            case 0:
                globals.usagePage = static_cast<std::uint16_t>(item.value);
                break;
            case 1:
                globals.logicalMinimum = item.signedValue();
                break;
            case 2:
                globals.logicalMaximum = item;
                break;
            case 7:
                globals.reportSize = item.value;
                break;
            case 8:
                if (item.value == 0 || item.value > 255) refuse("a report has a number from 1 to 255");
                globals.reportID = static_cast<std::uint8_t>(item.value);
                result.numbered = true;
                break;
            case 9:
                globals.reportCount = item.value;
                break;
            case 10:
                if (stack.size() >= deepestStack)
                    refuse("more is kept than " + std::to_string(deepestStack) + " times");
                stack.push_back(globals);
                break;
            case 11:
                if (stack.empty()) refuse("nothing was kept");
                globals = stack.back();
                stack.pop_back();
                break;
            default:
                break;
        }
    }

    HIDUsage usageOf(const Item& item) const {
        const auto page = item.size == 4 ? static_cast<std::uint16_t>(item.value >> 16) : globals.usagePage;
        return {page, static_cast<std::uint16_t>(item.value)};
    }

    void takeLocal(const Item& item) {
        if (item.tag == 0) addUsages(usageOf(item), usageOf(item).usage);
        if (item.tag == 1) locals.minimum = usageOf(item);
        if (item.tag == 2 && locals.minimum) addUsages(*locals.minimum, usageOf(item).usage);
    }

    void addUsages(HIDUsage first, std::uint16_t last) {
        if (last < first.usage) return;
        const std::size_t count = last - first.usage + 1u;
        // Devices name more usages than they have controls, but not without end.
        for (std::size_t index = 0; index < count && locals.usages.size() < mostElements; ++index)
            locals.usages.push_back({first.page, static_cast<std::uint16_t>(first.usage + index)});
    }

    void open(std::uint32_t type) {
        if (depth++ == 0 && type == applicationCollection && !locals.usages.empty())
            result.topUsages.push_back(locals.usages.front());
    }

    void addInput(std::uint32_t what) {
        std::uint32_t& position = positions[globals.reportID];
        const std::uint64_t bits = std::uint64_t{globals.reportSize} * globals.reportCount;
        if (bits > longestReportBits - position) refuse("a report is too long");
        const std::uint32_t first = position;
        position += static_cast<std::uint32_t>(bits);
        if ((what & isConstant) != 0 || locals.usages.empty() || bits == 0) return;
        (what & isVariable) != 0 ? addValues(first, (what & isRelativeValue) != 0) : addList(first);
    }

    /// One control a place; when the usages run out the last one goes on.
    void addValues(std::uint32_t first, bool isRelative) {
        for (std::uint32_t index = 0; index < globals.reportCount; ++index) {
            HIDElement& made = add(locals.usages[std::min<std::size_t>(index, locals.usages.size() - 1)]);
            made.logicalMinimum = globals.logicalMinimum;
            made.logicalMaximum = globals.maximum();
            made.bitSize = globals.reportSize;
            made.bitOffset = first + index * globals.reportSize;
            made.isRelative = isRelative;
        }
    }

    /// The places list those of the controls that are down.
    void addList(std::uint32_t first) {
        if (globals.reportCount > mostPlaces) refuse("a list is too long");
        for (std::size_t index = 0; index < locals.usages.size(); ++index) {
            // Stands for a place that isn't in use.
            if (locals.usages[index].usage == 0) continue;
            HIDElement& made = add(locals.usages[index]);
            made.logicalMaximum = 1;
            made.bitSize = globals.reportSize;
            made.bitOffset = first;
            made.listedPlaces = globals.reportCount;
            made.listedNumber = globals.logicalMinimum + static_cast<std::int64_t>(index);
        }
    }

    HIDElement& add(HIDUsage usage) {
        if (result.inputs.size() >= mostElements)
            refuse("there are more than " + std::to_string(mostElements) + " controls");
        HIDElement& made = result.inputs.emplace_back();
        made.cookie = static_cast<std::uint32_t>(result.inputs.size());
        made.usage = usage;
        made.reportID = globals.reportID;
        return made;
    }

    const std::span<const std::uint8_t> bytes;
    HIDReportDescriptor& result;
    std::size_t offset = 0;
    std::size_t itemOffset = 0;
    Globals globals;
    std::vector<Globals> stack;
    Locals locals;
    std::size_t depth = 0;
    /// The length so far of each report, in bits.
    std::array<std::uint32_t, 256> positions{};
};

HIDReportDescriptor HIDReportDescriptor::parse(std::span<const std::uint8_t> bytes) {
    HIDReportDescriptor described;
    Reading(bytes, described).run();
    return described;
}

}  // namespace varnolex
