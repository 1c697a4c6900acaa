#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/uhid.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "platform/RealRuntime.hpp"
#include "platform/concurrency/Guarded.hpp"
#include "platform/hid/HidrawDevices.hpp"
#include "platform/hid/RecordedDescriptors.hpp"
#include "support/ChildProcess.hpp"

namespace varnolex {
namespace {

/// A device that the kernel takes for a real one.
class PretendedDevice {
public:
    PretendedDevice(const std::string& name, const Bytes& descriptor) : file(::open("/dev/uhid", O_RDWR | O_CLOEXEC)) {
        uhid_event event{};
        event.type = UHID_CREATE2;
        auto& wanted = event.u.create2;
        name.copy(reinterpret_cast<char*>(wanted.name), sizeof wanted.name - 1);
        std::ranges::copy(descriptor, wanted.rd_data);
        wanted.rd_size = static_cast<std::uint16_t>(descriptor.size());
        // USB.
        wanted.bus = 3;
        write(event);
    }
    ~PretendedDevice() { ::close(file); }

    void report(const Bytes& bytes) const {
        uhid_event event{};
        event.type = UHID_INPUT2;
        event.u.input2.size = static_cast<std::uint16_t>(bytes.size());
        std::ranges::copy(bytes, event.u.input2.data);
        write(event);
    }

private:
    void write(const uhid_event& event) const {
        EXPECT_EQ(::write(file, &event, sizeof event), static_cast<ssize_t>(sizeof event));
    }

    const int file;
};

/// The kernel's devices, made by the test.
class HidrawDeviceTest : public testing::Test {
protected:
    void SetUp() override {
        if (::access("/dev/uhid", R_OK | W_OK) != 0) GTEST_SKIP() << "no devices can be made here: tests/vm/run can";
    }

    bool waitFor(const std::function<bool()>& isSo) {
        for (int waited = 0; waited < 30'000; waited += 5, pause(5)) {
            runtime.pollMain();
            if (isSo()) return true;
        }
        return false;
    }

    RealRuntime runtime;
    RuntimeScope scope{runtime};
    HidrawDevices service;
    std::vector<std::string> news;
    std::uint64_t latestID = 0;
    HIDDeviceCalls calls{[this](const HIDDevice& device) {
                             news.push_back("+" + device.transport + "/" + device.product);
                             latestID = device.id;
                         },
                         [this](const HIDDevice& device) { news.push_back("-" + device.product); }};
};

TEST_F(HidrawDeviceTest, followsDevicesAndReadsThem) {
    auto mouse = std::make_unique<PretendedDevice>("A mouse", mouseDescriptor);
    auto watch = service.watch(calls);
    ASSERT_TRUE(waitFor([&] { return news == std::vector<std::string>{"+USB/A mouse"}; }));
    auto pad = std::make_unique<PretendedDevice>("A pad", padDescriptor);
    ASSERT_TRUE(waitFor([&] { return news.size() == 2; }));
    EXPECT_EQ(news.back(), "+USB/A pad");
    EXPECT_EQ(service.devices().size(), 2u);

    Guarded<std::vector<std::pair<std::uint32_t, std::int64_t>>> heard;
    const std::uint64_t firstID = latestID;
    const auto tell = [&](const HIDValue& value) {
        heard.with([&](auto& all) { all.emplace_back(value.element.cookie, value.value); });
    };
    auto connection = service.open(firstID, tell);
    ASSERT_TRUE(connection);
    mouse->report({2, 1, 0, 0, 0, 0, 0});
    pad->report({0, 0, 0, 0, 0x7F, 0x10, 0, 0});
    pad->report({0, 0, 0, 0, 0x7F, 0x00, 0, 0});
    ASSERT_TRUE(waitFor([&] { return heard.get().size() == 3; }));
    EXPECT_THAT(heard.get(), testing::ElementsAre(testing::Pair(5, 0x7F), testing::Pair(7, 1), testing::Pair(7, 0)));

    pad.reset();
    ASSERT_TRUE(waitFor([&] { return news.back() == "-A pad"; }));
    EXPECT_FALSE(service.open(firstID, tell));
    connection.reset();
    pad = std::make_unique<PretendedDevice>("A pad", padDescriptor);
    ASSERT_TRUE(waitFor([&] { return news.size() == 4; }));
    EXPECT_NE(latestID, firstID);
    watch.reset();
    mouse.reset();
    EXPECT_TRUE(service.devices().empty());
}

}  // namespace
}  // namespace varnolex
