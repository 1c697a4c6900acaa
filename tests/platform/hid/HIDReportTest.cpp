#include <gmock/gmock.h>

#include <map>

#include "platform/hid/HIDReportReader.hpp"
#include "platform/hid/RecordedDescriptors.hpp"

namespace varnolex {
namespace {

using Values = std::map<std::uint32_t, std::int64_t>;

/// What a report tells, by cookie.
Values readInto(HIDReportReader& reader, const Bytes& report) {
    Values values;
    reader.read(report, [&](const HIDValue& value) { values[value.element.cookie] = value.value; });
    return values;
}

TEST(HIDReportDescriptor, findsTheControlsOfAPad) {
    const auto pad = HIDReportDescriptor::parse(padDescriptor);
    EXPECT_EQ(pad.applications(), (std::vector{HIDUsage{1, 4}}));
    EXPECT_FALSE(pad.hasReportIDs());
    ASSERT_EQ(pad.elements().size(), 26u);
    const auto usageOf = [&](std::size_t cookie) { return pad.elements()[cookie - 1].usage; };
    EXPECT_EQ(usageOf(4), (HIDUsage{1, 0x30}));
    EXPECT_EQ(usageOf(5), (HIDUsage{1, 0x31}));
    EXPECT_EQ(usageOf(7), (HIDUsage{9, 1}));
    EXPECT_EQ(usageOf(26), (HIDUsage{0xFF00, 1}));
    const HIDElement& axis = pad.elements()[4];
    EXPECT_EQ(axis.logicalMinimum, 0);
    EXPECT_EQ(axis.logicalMaximum, 255);
    EXPECT_EQ(std::pair(axis.bitOffset, axis.bitSize), std::pair(32u, 8u));

    HIDReportReader reader(pad);
    EXPECT_EQ(readInto(reader, {1, 0x80, 0x80, 0x7F, 0x7F, 0x0F, 0, 0}),
              (Values{{1, 1}, {2, 0x80}, {3, 0x80}, {4, 0x7F}, {5, 0x7F}, {6, 15}}));
    EXPECT_EQ(readInto(reader, {1, 0x80, 0x80, 0x7F, 0xFF, 0x1F, 0x20, 0}), (Values{{5, 255}, {7, 1}, {16, 1}}));
    EXPECT_EQ(readInto(reader, {1, 0x80, 0x80, 0x7F, 0xFF}), Values{}) << "what is left out stays as it was";
    EXPECT_EQ(readInto(reader, {1, 0x80, 0x80, 0x7F, 0xFF, 0x0F, 0x20, 0}), (Values{{7, 0}}));
}

TEST(HIDReportDescriptor, findsTheKeysThatAreListed) {
    const auto keyboard = HIDReportDescriptor::parse(keyboardDescriptor);
    ASSERT_EQ(keyboard.elements().size(), 8u + 0x65);
    HIDReportReader reader(keyboard);
    EXPECT_EQ(readInto(reader, {0x02, 0, 0x04, 0x65, 0, 0, 0, 0}), (Values{{2, 1}, {8 + 0x04, 1}, {8 + 0x65, 1}}));
    EXPECT_EQ(readInto(reader, {0x02, 0, 0x65, 0, 0, 0, 0, 0}), (Values{{8 + 0x04, 0}}));
}

TEST(HIDReportDescriptor, followsNumberedReportsAndMovements) {
    const auto mouse = HIDReportDescriptor::parse(mouseDescriptor);
    EXPECT_EQ(mouse.applications(), (std::vector{HIDUsage{1, 2}, HIDUsage{12, 1}}));
    HIDReportReader reader(mouse);
    // 12 bits each: x is -2, y is 0x123.
    EXPECT_EQ(readInto(reader, {2, 1, 0, 0xFE, 0x3F, 0x12, 0xFF}), (Values{{1, 1}, {17, -2}, {18, 0x123}, {19, -1}}));
    EXPECT_EQ(readInto(reader, {2, 1, 0, 0xFE, 0x0F, 0, 0}), (Values{{17, -2}})) << "the same movement once more";
    EXPECT_EQ(readInto(reader, {3, 0x01, 0x00, 0xFF, 0x02}), (Values{{20, 1}, {19 + 0x2FF, 1}}));
    EXPECT_EQ(readInto(reader, {9, 1, 1, 1, 1, 1, 1, 1}), Values{});
    EXPECT_EQ(readInto(reader, {}), Values{});
}

TEST(HIDReportDescriptor, refusesWhatItCannotRead) {
    const std::vector<std::pair<Bytes, std::string>> rows{
        {{0x05}, "offset 0: an item is cut off"},
        {{0x05, 0x01, 0x27, 1, 2}, "offset 2: an item is cut off"},
        {{0xFE, 9, 0, 1}, "offset 0: an item is cut off"},
        {{0xC0}, "offset 0: a collection ends that hasn't begun"},
        {{0xA1, 0x01}, "offset 0: a collection has no end"},
        {{0xB4}, "offset 0: nothing was kept"},
        {Bytes(17, 0xA4), "offset 16: more is kept than 16 times"},
        {{0x85, 0x00}, "offset 0: a report has a number from 1 to 255"},
        {{0x77, 0xFF, 0xFF, 0xFF, 0xFF, 0x97, 0xFF, 0xFF, 0xFF, 0xFF, 0x81, 0x02}, "offset 10: a report is too long"},
        {{0x75, 1, 0x96, 0xFF, 0xFF, 0x09, 1, 0x81, 0x02}, "offset 7: there are more than 2048 controls"},
        {Bytes(5000, 0xC1), "offset 0: it is longer than 4096 bytes"},
    };
    for (const auto& [bytes, sentence] : rows) {
        try {
            HIDReportDescriptor::parse(bytes);
            ADD_FAILURE() << sentence;
        } catch (const HIDDescriptorError& fault) {
            EXPECT_EQ(fault.what(), sentence);
        }
    }
}

}  // namespace
}  // namespace varnolex
