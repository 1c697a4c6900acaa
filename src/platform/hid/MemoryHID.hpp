#pragma once

#include <set>

#include "platform/hid/HIDService.hpp"

namespace varnolex {

/// Devices that are plugged in and moved by the program, for tests and renders. One thread.
class MemoryHID final : public HIDService {
public:
    /// Its id is given here.
    std::uint64_t plug(HIDDevice device);
    void unplug(std::uint64_t device);

    /// A control of a device moves; only those who have opened it hear of it.
    void move(std::uint64_t device, const HIDValue& value) const;

    std::unique_ptr<HIDConnection> open(std::uint64_t device, HIDReportReader::Listener tell) override;
    bool isOpen(std::uint64_t device) const;
    bool isWatched() const { return watched; }

    /// Devices that can't be opened.
    std::set<std::uint64_t> locked;

protected:
    void startWatching() override;
    void stopWatching() override { watched = false; }

private:
    class Connection;

    void tellDevices();

    std::vector<HIDDevice> plugged;
    std::set<const Connection*> connections;
    std::uint64_t lastID = 0;
    bool watched = false;
};

}  // namespace varnolex
