#include "endpoints/MIDIManager.hpp"

#include "platform/DiagnosticLog.hpp"

namespace varnolex {

namespace {

void readString(MIDIEndpointRef endpoint, MIDIProperty property, std::string& value) {
    std::string told;
    if (MIDIService::current().MIDIObjectGetStringProperty(endpoint, property, told) == midiSuccess && !told.empty())
        value = std::move(told);
}

template <class Info>
Info readInfo(MIDIEndpointRef endpoint) {
    Info info;
    info.endpointRef = endpoint;
    MIDIService::current().MIDIObjectGetIntegerProperty(endpoint, kMIDIPropertyUniqueID, info.uniqueID);
    readString(endpoint, kMIDIPropertyDisplayName, info.displayName);
    readString(endpoint, kMIDIPropertyManufacturer, info.manufacturer);
    readString(endpoint, kMIDIPropertyModel, info.model);
    readString(endpoint, kMIDIPropertyDriverOwner, info.driverOwner);
    return info;
}

template <class Info, class ReferenceAt>
std::vector<Info> readList(std::size_t count, ReferenceAt referenceAt) {
    std::vector<Info> list;
    list.reserve(count);
    for (std::size_t index = 0; index < count; ++index)
        if (const MIDIEndpointRef endpoint = referenceAt(index)) list.push_back(readInfo<Info>(endpoint));
    return list;
}

}  // namespace

void MIDIManager::setup() {
    if (wasSetUp) return;
    wasSetUp = true;
    const auto block = [weakSelf = std::weak_ptr(self)](MIDINotificationID message) {
        if (const auto living = weakSelf.lock()) (*living)->notified(message);
    };
    if (MIDIService::current().MIDIClientCreateWithBlock("Varnolex", block, client) == midiSuccess) refresh();
}

void MIDIManager::refresh() {
    MIDIService& service = MIDIService::current();
    const auto replace = [this](auto& list, auto next) {
        if (list == next) return;
        list = std::move(next);
        ++listRevision;
    };
    replace(sourceList, readList<MIDISourceInfo>(service.MIDIGetNumberOfSources(),
                                                 [&](std::size_t index) { return service.MIDIGetSource(index); }));
    replace(destinationList,
            readList<MIDIDestinationInfo>(service.MIDIGetNumberOfDestinations(),
                                          [&](std::size_t index) { return service.MIDIGetDestination(index); }));
    if (onEndpointsChanged) onEndpointsChanged();
}

void MIDIManager::recordNotification(int kind, std::size_t sourceCount, std::size_t destinationCount) {
    if (DiagnosticLog* const recorder = DiagnosticLog::shared())
        recorder->endpointsChanged(kind, sourceCount, destinationCount);
}

void MIDIManager::notified(MIDINotificationID message) {
    if (message < midiSetupChanged || message > midiPropertyChanged) return;
    refresh();
    if (reportNotification) reportNotification(message - 1, sourceList.size(), destinationList.size());
}

}  // namespace varnolex
