#include <gmock/gmock.h>

#include "platform/hid/MemoryHID.hpp"
#include "support/ChainProbe.hpp"
#include "tools/devices/HIDTool.hpp"

namespace varnolex::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Texts = std::vector<std::string>;

/// A tool beside devices that the test plugs.
class HIDToolTest : public ::testing::Test {
protected:
    static HIDDevice padNamed(const std::string& product) { return {0, "USB", product, "A maker", {{1, 5}}}; }

    Texts move(std::uint64_t device, std::uint32_t cookie, std::int64_t value, std::int64_t low = 0,
               std::int64_t high = 255, std::uint16_t page = 1, std::size_t byteCount = 1) {
        HIDElement element;
        element.cookie = cookie;
        element.usage = {page, 0x30};
        element.logicalMinimum = low;
        element.logicalMaximum = high;
        probe.taken();
        devices.move(device, {element, value, byteCount});
        return probe.taken();
    }

    void map(std::int64_t cookie, std::int64_t status, std::int64_t data1) {
        probe.set("mappings", std::vector{ParameterRecord{{cookie, status, data1}}});
    }

    MemoryHID devices;
    HIDServiceScope scope{devices};
    ChainProbe probe{PipeToolType::hid};
    HIDTool& tool = static_cast<HIDTool&>(*probe.tool);
};

TEST_F(HIDToolTest, listsWhatItCanReadAndKeepsToItsDevice) {
    const auto first = devices.plug(padNamed("Pad"));
    devices.plug({0, "I2C", "Touchpad", "", {{1, 2}}});
    devices.plug({0, "USB", "Headset", "", {{12, 1}}});
    devices.plug({0, "USB", "", "", {{1, 4}}});
    devices.plug({0, "Bluetooth", "", "Maker", {{12, 1}, {1, 4}}});
    tool.start(0);
    tool.start(0);
    EXPECT_THAT(tool.availableDeviceNames(), ElementsAre("Maker", "Pad"));
    EXPECT_FALSE(tool.isReading());
    map(1, 0x90, 60);
    tool.selectDevice("Pad");
    EXPECT_TRUE(devices.isOpen(first));
    EXPECT_THAT(tool.settings().elementMappings, IsEmpty());

    map(1, 0x90, 60);
    tool.selectDevice("Pad");
    EXPECT_EQ(tool.settings().elementMappings.size(), 1u) << "the same device";
    EXPECT_EQ(move(first, 1, 255), Texts{"90 3C 7F |"});
    devices.unplug(first);
    EXPECT_EQ(probe.taken(), Texts{"80 3C 40 |"}) << "the button that was down";
    EXPECT_THAT(tool.availableDeviceNames(), ElementsAre("Maker"));
    const auto again = devices.plug(padNamed("Pad"));
    EXPECT_TRUE(devices.isOpen(again));
    tool.selectDevice("Absent");
    EXPECT_FALSE(tool.isReading());

    devices.locked.insert(again);
    tool.selectDevice("Pad");
    EXPECT_FALSE(tool.isReading());
    const auto third = devices.plug(padNamed("Pad"));
    EXPECT_TRUE(devices.isOpen(third)) << "a later one of that name is tried again";
    tool.stop();
    tool.stop();
    EXPECT_FALSE(devices.isOpen(third) || devices.isWatched());
}

TEST_F(HIDToolTest, scalesWhatItHears) {
    probe.set("outputChannel", 4);
    probe.set("deviceName", "Pad");
    tool.start(0);
    const auto pad = devices.plug(padNamed("Pad"));
    EXPECT_EQ(move(pad, 1, 0, -127, 127), Texts{"B4 01 40 |"});
    EXPECT_EQ(move(pad, 2, 1, 0, 1), Texts{"B4 02 7F |"});
    EXPECT_EQ(move(pad, 2, 300, 255, 0), Texts{"B4 02 7F |"}) << "limited, and the limits the wrong way round";
    EXPECT_EQ(move(pad, 2, 5, 4, 4), Texts{"B4 02 7F |"});
    EXPECT_EQ(move(pad, 2, 4, 4, 4), Texts{"B4 02 00 |"});
    EXPECT_EQ(move(pad, 2, 0xFFFFFFFF, 0, 0xFFFFFFFF, 1, 4), Texts{"B4 02 7F |"});
    EXPECT_EQ(move(pad, 500, 0), Texts{"B4 FF 00 |"});
    EXPECT_EQ(move(pad, 2, 1, 0, 255, 0xFF00), Texts{});
    EXPECT_EQ(move(pad, 2, 1, 0, 255, 1, 5), Texts{});
    EXPECT_EQ(move(pad, 2, 1, 0, 255, 1, 0), Texts{});
    map(3, 0xE0, 0);
    EXPECT_EQ(move(pad, 3, 255), Texts{"E4 00 7F |"});
    map(3, 0x90, 5);
    move(pad, 3, 255);
    tool.setEnabled(false);
    EXPECT_EQ(probe.taken(), Texts{"84 05 40 |"});
    EXPECT_EQ(move(pad, 2, 1), Texts{});
}

}  // namespace
}  // namespace varnolex::testing
