#include "platform/hid/HidrawDevices.hpp"

#include <fcntl.h>
#include <libudev.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <fstream>
#include <iterator>
#include <optional>
#include <system_error>
#include <utility>

#include "platform/DescriptorThread.hpp"
#include "platform/Runtime.hpp"
#include "platform/VarnolexLogger.hpp"

namespace varnolex {
namespace {

template <class Held, Held* (*release)(Held*)>
struct Released {
    void operator()(Held* held) const { release(held); }
};

using Context = std::unique_ptr<udev, Released<udev, udev_unref>>;
using Monitor = std::unique_ptr<udev_monitor, Released<udev_monitor, udev_monitor_unref>>;
using Enumeration = std::unique_ptr<udev_enumerate, Released<udev_enumerate, udev_enumerate_unref>>;
using Device = std::unique_ptr<udev_device, Released<udev_device, udev_device_unref>>;

constexpr const char* subsystem = "hidraw";

std::string textOf(const char* text) { return text ? text : ""; }

/// The number of a bus, as "0003:0000046D:0000C216" begins with it.
std::string transportOf(const std::string& hidID) {
    unsigned bus = 0;
    std::from_chars(hidID.data(), hidID.data() + std::min<std::size_t>(hidID.size(), 4), bus, 16);
    switch (bus) {
        case 3:
            return "USB";
        case 5:
            return "Bluetooth";
        case 6:
            return "Virtual";
        case 24:
            return "I2C";
        default:
            return "";
    }
}

std::optional<HIDReportDescriptor> descriptorOf(const std::string& place) {
    std::ifstream stream(place + "/report_descriptor", std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
    try {
        return HIDReportDescriptor::parse({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
    } catch (const HIDDescriptorError& fault) {
        VarnolexLogger::shared().log(place + "/report_descriptor: " + fault.what());
        return std::nullopt;
    }
}

}  // namespace

/// What udev knows, and a thread that hears of changes.
class HidrawDevices::Udev {
public:
    explicit Udev(std::function<void()> somethingChanged) : context(udev_new()), changed(std::move(somethingChanged)) {
        if (!context) return;
        // Where nobody answers for the system's rules, the kernel itself tells.
        const bool hasRules = ::access("/run/udev/control", F_OK) == 0;
        monitor.reset(udev_monitor_new_from_netlink(context.get(), hasRules ? "udev" : "kernel"));
        if (!monitor) return;
        udev_monitor_filter_add_match_subsystem_devtype(monitor.get(), subsystem, nullptr);
        if (udev_monitor_enable_receiving(monitor.get()) < 0) return;
        thread = std::make_unique<DescriptorThread>(
            "varnolex-hid", udev_monitor_get_fd(monitor.get()), std::make_shared<Bell>(),
            DescriptorThread::Calls{[this] { return hear(); }, [] { return DescriptorThread::never; }});
    }

    /// The places of the devices that are there.
    std::vector<std::string> places() const {
        const Enumeration all(context ? udev_enumerate_new(context.get()) : nullptr);
        std::vector<std::string> found;
        if (!all) return found;
        udev_enumerate_add_match_subsystem(all.get(), subsystem);
        udev_enumerate_scan_devices(all.get());
        for (auto* each = udev_enumerate_get_list_entry(all.get()); each; each = udev_list_entry_get_next(each))
            found.push_back(textOf(udev_list_entry_get_name(each)));
        return found;
    }

    std::optional<Entry> read(const std::string& place) const {
        const Device device(udev_device_new_from_syspath(context.get(), place.c_str()));
        if (!device) return std::nullopt;
        // Parents belong to their children.
        udev_device* const hid = udev_device_get_parent_with_subsystem_devtype(device.get(), "hid", nullptr);
        const char* const node = udev_device_get_devnode(device.get());
        if (!hid || !node) return std::nullopt;
        auto descriptor = descriptorOf(textOf(udev_device_get_syspath(hid)));
        if (!descriptor) return std::nullopt;
        Entry entry{{}, node, std::move(*descriptor)};
        entry.device.applications = entry.descriptor.applications();
        entry.device.transport = transportOf(textOf(udev_device_get_property_value(hid, "HID_ID")));
        if (udev_device* const usb = udev_device_get_parent_with_subsystem_devtype(device.get(), "usb", "usb_device")) {
            entry.device.product = textOf(udev_device_get_sysattr_value(usb, "product"));
            entry.device.manufacturer = textOf(udev_device_get_sysattr_value(usb, "manufacturer"));
        } else {
            entry.device.product = textOf(udev_device_get_property_value(hid, "HID_NAME"));
        }
        return entry;
    }

private:
    bool hear() {
        bool isNews = false;
        while (const Device device{udev_monitor_receive_device(monitor.get())}) isNews = true;
        if (isNews) changed();
        return true;
    }

    const Context context;
    const std::function<void()> changed;
    Monitor monitor;
    std::unique_ptr<DescriptorThread> thread;
};

/// One device that is read, on a thread of its own.
class HidrawDevices::Connection final : public HIDConnection {
public:
    Connection(int opened, const HIDReportDescriptor& descriptor, HIDReportReader::Listener listener)
        : file(opened), reader(descriptor), tell(std::move(listener)) {
        thread = std::make_unique<DescriptorThread>(
            "varnolex-hid", file, std::make_shared<Bell>(),
            DescriptorThread::Calls{[this] { return hear(); }, [] { return DescriptorThread::never; }});
    }
    ~Connection() override {
        thread.reset();
        ::close(file);
    }

private:
    /// One report a call. False when the device has gone.
    bool hear() {
        const ssize_t size = ::read(file, report.data(), report.size());
        if (size > 0) reader.read({report.data(), static_cast<std::size_t>(size)}, tell);
        return size > 0 || (size < 0 && (errno == EAGAIN || errno == EINTR));
    }

    const int file;
    HIDReportReader reader;
    const HIDReportReader::Listener tell;
    std::array<std::uint8_t, HIDReportDescriptor::longestReportBits / 8> report;
    std::unique_ptr<DescriptorThread> thread;
};

HidrawDevices::HidrawDevices() = default;

HidrawDevices::~HidrawDevices() = default;

void HidrawDevices::startWatching() {
    self = std::make_shared<HidrawDevices*>(this);
    udev = std::make_unique<Udev>([weak = std::weak_ptr(self)] {
        Runtime::current().mainQueue().async([weak] {
            if (const auto alive = weak.lock()) (*alive)->scan();
        });
    });
    scan();
}

void HidrawDevices::stopWatching() {
    self.reset();
    udev.reset();
    entries.clear();
}

void HidrawDevices::scan() {
    std::map<std::string, Entry> present;
    for (const std::string& place : udev->places()) {
        if (auto former = entries.extract(place)) {
            present.insert(std::move(former));
        } else if (auto entry = udev->read(place)) {
            entry->device.id = ++lastID;
            present.emplace(place, std::move(*entry));
        }
    }
    entries = std::move(present);
    std::vector<HIDDevice> devices;
    for (const auto& [place, entry] : entries) devices.push_back(entry.device);
    setDevices(devices);
}

std::unique_ptr<HIDConnection> HidrawDevices::open(std::uint64_t device, HIDReportReader::Listener tell) {
    const auto found = std::ranges::find_if(entries, [&](const auto& each) { return each.second.device.id == device; });
    if (found == entries.end()) return nullptr;
    const int file = ::open(found->second.node.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (file < 0) {
        VarnolexLogger::shared().log(found->second.node + ": " + std::generic_category().message(errno));
        return nullptr;
    }
    return std::make_unique<Connection>(file, found->second.descriptor, std::move(tell));
}

}  // namespace varnolex
