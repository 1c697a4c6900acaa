#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "endpoints/MIDIService.hpp"

namespace varnolex {

/// One endpoint of the system, as the directory last saw it. A plain value; `Role` makes sources and destinations
/// different types, so that the two aren't mixed up.
template <class Role>
struct MIDIEndpointInfo {
    /// The endpoint's identity across restarts; documents store it.
    std::int32_t uniqueID = 0;
    std::string displayName = "Unknown";
    std::string manufacturer{};
    std::string model{};
    /// The driver that offers the endpoint; tells buses between applications from devices.
    std::string driverOwner{};
    /// Valid for this run only.
    MIDIEndpointRef endpointRef = 0;

    bool operator==(const MIDIEndpointInfo&) const = default;
};

using MIDISourceInfo = MIDIEndpointInfo<struct SourceRole>;
using MIDIDestinationInfo = MIDIEndpointInfo<struct DestinationRole>;

/// The directory of all endpoints, and the owner of the system's one client of the MIDI service. Main thread.
class MIDIManager {
public:
    /// What a change was (0 setup changed, 1 added, 2 removed, 3 property changed) and how many sources and
    /// destinations there were after it.
    using NotificationReport = std::function<void(int kind, std::size_t sourceCount, std::size_t destinationCount)>;

    MIDIManager() = default;
    MIDIManager(const MIDIManager&) = delete;
    MIDIManager& operator=(const MIDIManager&) = delete;

    /// Creates the client and reads the lists, once. Without a client the lists stay empty, and nothing retries.
    void setup();

    /// Reads both lists again.
    void refresh();

    /// In the service's order.
    const std::vector<MIDISourceInfo>& sources() const { return sourceList; }
    const std::vector<MIDIDestinationInfo>& destinations() const { return destinationList; }

    /// Grows whenever a list was replaced by a different one: observers compare it and aren't woken for nothing.
    std::uint64_t revision() const { return listRevision; }

    /// 0 until `setup` has succeeded.
    MIDIClientRef clientRef() const { return client; }
    bool isSetUp() const { return wasSetUp; }

    /// Called after every refresh, whether or not a list changed.
    std::function<void()> onEndpointsChanged;
    /// Called for every change that the service tells of, after the refresh. At first it is the flight recorder's.
    NotificationReport reportNotification = recordNotification;

private:
    static void recordNotification(int kind, std::size_t sourceCount, std::size_t destinationCount);
    void notified(MIDINotificationID message);

    std::vector<MIDISourceInfo> sourceList;
    std::vector<MIDIDestinationInfo> destinationList;
    std::uint64_t listRevision = 0;
    MIDIClientRef client = 0;
    bool wasSetUp = false;
    /// Lets the service's notify block see that the directory is gone.
    std::shared_ptr<MIDIManager*> self = std::make_shared<MIDIManager*>(this);
};

}  // namespace varnolex
