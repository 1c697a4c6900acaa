#include "endpoints/interceptor/DestinationMap.hpp"

#include <utility>

#include "platform/Runtime.hpp"

namespace varnolex {

DestinationMap::DestinationMap(Reading readDestinations) : read(std::move(readDestinations)) {}

MIDIStatus DestinationMap::start(const std::shared_ptr<DestinationMap>& map) {
    const auto notify = [weakMap = std::weak_ptr(map)](MIDINotificationID message) {
        const auto living = weakMap.lock();
        if (living && message >= midiSetupChanged && message <= midiPropertyChanged) living->rebuild();
    };
    MIDIClientRef client = 0;
    const MIDIStatus status = MIDIService::current().MIDIClientCreateWithBlock("com.varnolex.port", notify, client);
    if (status == midiSuccess) map->rebuild();
    return status;
}

void DestinationMap::rebuild() {
    assertMainThread();
    mustRebuildAgain = true;
    if (std::exchange(isRebuilding, true)) return;
    while (std::exchange(mustRebuildAgain, false)) entries.publish(std::make_unique<const Entries>(read()));
    isRebuilding = false;
}

MIDIEndpointRef DestinationMap::find(std::int32_t uniqueID) const {
    return entries.read([&](const Entries* now) -> MIDIEndpointRef {
        if (!now) return 0;
        const auto found = now->find(uniqueID);
        return found != now->end() ? found->second : 0;
    });
}

DestinationMap::Entries DestinationMap::readFromService() {
    MIDIService& service = MIDIService::current();
    Entries found;
    for (std::size_t index = 0; index < service.MIDIGetNumberOfDestinations(); ++index) {
        const MIDIEndpointRef destination = service.MIDIGetDestination(index);
        std::int32_t uniqueID = 0;
        if (destination != 0 &&
            service.MIDIObjectGetIntegerProperty(destination, kMIDIPropertyUniqueID, uniqueID) == midiSuccess)
            found.emplace(uniqueID, destination);
    }
    return found;
}

}  // namespace varnolex
