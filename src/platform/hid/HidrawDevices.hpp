#pragma once

#include <map>
#include <memory>
#include <string>

#include "platform/hid/HIDService.hpp"

namespace varnolex {

/// The devices of Linux: what the kernel offers as "hidraw", found and followed by udev. A device that the user may not
/// read is listed and can't be opened; rules of the system say who may. Nothing is asked of the system until somebody
/// watches.
class HidrawDevices final : public HIDService {
public:
    HidrawDevices();
    ~HidrawDevices() override;

    std::unique_ptr<HIDConnection> open(std::uint64_t device, HIDReportReader::Listener tell) override;

protected:
    void startWatching() override;
    void stopWatching() override;

private:
    class Udev;
    class Connection;

    struct Entry {
        HIDDevice device;
        std::string node;
        HIDReportDescriptor descriptor;
    };

    void scan();

    std::unique_ptr<Udev> udev;
    /// By their places in the system, which are new whenever a device is plugged in.
    std::map<std::string, Entry> entries;
    std::uint64_t lastID = 0;
    /// Lets what was posted to the main thread see that nobody watches any more.
    std::shared_ptr<HidrawDevices*> self;
};

}  // namespace varnolex
