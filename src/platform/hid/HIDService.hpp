#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/hid/HIDReportReader.hpp"

namespace varnolex {

/// A game controller, mouse, keyboard or the like that is plugged in.
struct HIDDevice {
    /// Of this plugging in: never used again.
    std::uint64_t id = 0;
    /// "USB", "Bluetooth", or what else the device hangs on.
    std::string transport;
    /// What the device calls itself and its maker; either may be empty.
    std::string product;
    std::string manufacturer;
    std::vector<HIDUsage> applications;
};

/// Main thread.
struct HIDDeviceCalls {
    std::function<void(const HIDDevice&)> matched;
    std::function<void(const HIDDevice&)> removed;
};

/// Tells of devices as long as it lives. It ends before the service, on the main thread.
class HIDWatch {
public:
    virtual ~HIDWatch() = default;
};

/// A device that is read as long as this lives. It ends on the main thread, outside of any walk.
class HIDConnection {
public:
    virtual ~HIDConnection() = default;
};

/// The devices of this machine. Main thread.
class HIDService {
public:
    HIDService() = default;
    virtual ~HIDService() = default;
    HIDService(const HIDService&) = delete;
    HIDService& operator=(const HIDService&) = delete;

    /// The service of this process, as installed by the innermost living `HIDServiceScope`; null when there is none.
    static HIDService* shared();

    /// `matched` is called for each device that is there before this returns, and for each that comes later.
    std::unique_ptr<HIDWatch> watch(HIDDeviceCalls calls);

    /// Those that are known to whoever watches.
    const std::vector<HIDDevice>& devices() const { return known; }

    /// Null when the device has gone, or the user may not read it. `tell` runs on the service's own thread, one call at
    /// a time; it should hold its owner weakly.
    virtual std::unique_ptr<HIDConnection> open(std::uint64_t device, HIDReportReader::Listener tell) = 0;

protected:
    /// The first who watches has come: from now on `setDevices` is called at every change, and once before it returns.
    virtual void startWatching() = 0;
    virtual void stopWatching() = 0;

    /// Those that are plugged in now.
    void setDevices(const std::vector<HIDDevice>& present);

private:
    class Watch;

    template <class Tell>
    void tellAll(Tell tell) const;

    std::vector<HIDDevice> known;
    std::vector<std::shared_ptr<const HIDDeviceCalls>> watchers;
};

/// Makes a service the current one for as long as the scope lives, and the former one current again after it.
/// Scopes nest, and belong to the thread that starts and ends the session.
class HIDServiceScope {
public:
    explicit HIDServiceScope(HIDService& service);
    ~HIDServiceScope();
    HIDServiceScope(const HIDServiceScope&) = delete;
    HIDServiceScope& operator=(const HIDServiceScope&) = delete;

private:
    HIDService* former;
};

}  // namespace varnolex
