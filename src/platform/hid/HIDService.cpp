#include "platform/hid/HIDService.hpp"

#include <algorithm>
#include <utility>

#include "platform/concurrency/LiveValue.hpp"

namespace varnolex {
namespace {

SharedValue<HIDService*> installed{nullptr};

bool holds(const std::vector<HIDDevice>& devices, std::uint64_t id) {
    return std::ranges::find(devices, id, &HIDDevice::id) != devices.end();
}

}  // namespace

class HIDService::Watch final : public HIDWatch {
public:
    Watch(HIDService& owner, std::shared_ptr<const HIDDeviceCalls> ownCalls)
        : service(owner), calls(std::move(ownCalls)) {}
    ~Watch() override {
        std::erase(service.watchers, calls);
        if (!service.watchers.empty()) return;
        service.stopWatching();
        service.known.clear();
    }

private:
    HIDService& service;
    const std::shared_ptr<const HIDDeviceCalls> calls;
};

HIDService* HIDService::shared() { return installed.get(); }

std::unique_ptr<HIDWatch> HIDService::watch(HIDDeviceCalls calls) {
    const auto added = std::make_shared<const HIDDeviceCalls>(std::move(calls));
    const std::vector<HIDDevice> before = known;
    watchers.push_back(added);
    auto made = std::make_unique<Watch>(*this, added);
    if (watchers.size() == 1) startWatching();
    for (const HIDDevice& device : before) added->matched(device);
    return made;
}

void HIDService::setDevices(const std::vector<HIDDevice>& present) {
    const std::vector<HIDDevice> before = std::exchange(known, present);
    for (const HIDDevice& device : before)
        if (!holds(present, device.id)) tellAll([&](const HIDDeviceCalls& calls) { calls.removed(device); });
    for (const HIDDevice& device : present)
        if (!holds(before, device.id)) tellAll([&](const HIDDeviceCalls& calls) { calls.matched(device); });
}

/// Whoever is told may begin or end watching.
template <class Tell>
void HIDService::tellAll(Tell tell) const {
    const auto all = watchers;
    for (const auto& calls : all) tell(*calls);
}

HIDServiceScope::HIDServiceScope(HIDService& service) : former(installed.exchange(&service)) {}

HIDServiceScope::~HIDServiceScope() { installed.set(former); }

}  // namespace varnolex
