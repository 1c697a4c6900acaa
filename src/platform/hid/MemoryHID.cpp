#include "platform/hid/MemoryHID.hpp"

#include <algorithm>

namespace varnolex {

class MemoryHID::Connection final : public HIDConnection {
public:
    Connection(MemoryHID& owner, std::uint64_t opened, HIDReportReader::Listener listener)
        : device(opened), tell(std::move(listener)), service(owner) {
        service.connections.insert(this);
    }
    ~Connection() override { service.connections.erase(this); }

    const std::uint64_t device;
    const HIDReportReader::Listener tell;

private:
    MemoryHID& service;
};

std::uint64_t MemoryHID::plug(HIDDevice device) {
    device.id = ++lastID;
    plugged.push_back(std::move(device));
    tellDevices();
    return lastID;
}

void MemoryHID::unplug(std::uint64_t device) {
    std::erase_if(plugged, [&](const HIDDevice& each) { return each.id == device; });
    tellDevices();
}

void MemoryHID::move(std::uint64_t device, const HIDValue& value) const {
    for (const Connection* connection : connections)
        if (connection->device == device) connection->tell(value);
}

std::unique_ptr<HIDConnection> MemoryHID::open(std::uint64_t device, HIDReportReader::Listener tell) {
    if (locked.contains(device) || std::ranges::find(plugged, device, &HIDDevice::id) == plugged.end()) return nullptr;
    return std::make_unique<Connection>(*this, device, std::move(tell));
}

bool MemoryHID::isOpen(std::uint64_t device) const {
    return std::ranges::any_of(connections, [&](const Connection* each) { return each->device == device; });
}

void MemoryHID::startWatching() {
    watched = true;
    tellDevices();
}

void MemoryHID::tellDevices() {
    if (watched) setDevices(plugged);
}

}  // namespace varnolex
