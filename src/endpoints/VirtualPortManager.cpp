#include "endpoints/VirtualPortManager.hpp"

#include <algorithm>
#include <limits>

#include "endpoints/PortEntry.hpp"
#include "endpoints/UniqueID.hpp"
#include "platform/DefaultsStore.hpp"
#include "platform/DiagnosticLog.hpp"

namespace varnolex {

namespace {

constexpr auto defaultsKey = "virtualPorts";

constexpr std::size_t spareListsKept = 64;

using SpareLists = Guarded<std::vector<MessageList>>;

MessageList takeSpare(SpareLists& spare) {
    return spare.with([](auto& lists) {
        MessageList taken;
        if (lists.empty()) return taken;
        taken = std::move(lists.back());
        lists.pop_back();
        return taken;
    });
}

void giveBack(SpareLists& spare, MessageList list) {
    list.clear();
    spare.with([&](auto& lists) {
        if (lists.size() < spareListsKept) lists.push_back(std::move(list));
    });
}

bool containsIgnoringCase(std::string_view text, std::string_view lowerCasePart) {
    const auto isSame = [](char character, char lower) {
        return (character >= 'A' && character <= 'Z' ? character - 'A' + 'a' : character) == lower;
    };
    return std::search(text.begin(), text.end(), lowerCasePart.begin(), lowerCasePart.end(), isSame) != text.end();
}

/// Outputs that earlier versions made for their own use and that nobody wants back.
bool isLeftover(const PortEntry& entry) {
    return entry.isOutput && (containsIgnoringCase(entry.name, "virtual input") || entry.name.starts_with("MIDI Out"));
}

template <class Port>
void dispose(Port& port) {
    if (port.endpointRef() != 0 && MIDIService::isInstalled())
        MIDIService::current().MIDIEndpointDispose(port.endpointRef());
}

}  // namespace

VirtualPortManager::VirtualPortManager(DefaultsStore& store) : defaults(store) {
    spareLists->with([](auto& lists) { lists.reserve(spareListsKept); });
}

VirtualPortManager::~VirtualPortManager() { disposeAll(); }

void VirtualPortManager::load() {
    const auto text = defaults.json(defaultsKey);
    if (!text) return;
    const auto entries = portEntriesFromJSON(*text);
    if (!entries) return;
    disposeAll();
    for (const PortEntry& entry : *entries) {
        if (isLeftover(entry)) continue;
        if (entry.isOutput)
            outputPorts.push_back(std::make_shared<VirtualOutput>(entry.name, entry.uniqueID));
        else
            inputPorts.push_back(std::make_shared<VirtualInput>(entry.name, entry.uniqueID));
    }
}

void VirtualPortManager::activateAll() {
    for (const auto& port : inputPorts) create(port);
    for (const auto& port : outputPorts) create(port);
}

std::shared_ptr<VirtualInput> VirtualPortManager::addInput(std::optional<std::string> name) {
    if (!name) name = "Virtual Input " + std::to_string(inputPorts.size() + 1);
    const auto port = std::make_shared<VirtualInput>(*name, makeUniqueID(*name));
    inputPorts.push_back(port);
    create(port);
    persist();
    return port;
}

std::shared_ptr<VirtualOutput> VirtualPortManager::addOutput(std::optional<std::string> name) {
    if (!name) name = "Virtual Output " + std::to_string(outputPorts.size() + 1);
    const auto port = std::make_shared<VirtualOutput>(*name, makeUniqueID(*name));
    outputPorts.push_back(port);
    create(port);
    persist();
    return port;
}

void VirtualPortManager::renameInput(const std::shared_ptr<VirtualInput>& port, std::string name) {
    port->setName(std::move(name));
    if (port->endpointRef() != 0)
        MIDIService::current().MIDIObjectSetStringProperty(port->endpointRef(), kMIDIPropertyName, port->name());
    persist();
}

void VirtualPortManager::renameOutput(const std::shared_ptr<VirtualOutput>& port, std::string name) {
    const std::string oldName = port->name();
    port->setName(std::move(name));
    if (port->endpointRef() != 0)
        MIDIService::current().MIDIObjectSetStringProperty(port->endpointRef(), kMIDIPropertyName, port->name());
    if (onOutputRenamed) onOutputRenamed(port, oldName);
    persist();
}

void VirtualPortManager::removeInput(const std::shared_ptr<VirtualInput>& port) {
    // A copy, since the caller's may be the list's own element.
    const auto removed = port;
    dispose(*removed);
    removed->setEndpoint(0);
    std::erase(inputPorts, removed);
    persist();
}

void VirtualPortManager::removeOutput(const std::shared_ptr<VirtualOutput>& port) {
    const auto removed = port;
    dispose(*removed);
    removed->setEndpoint(0);
    std::erase(outputPorts, removed);
    if (onOutputRemoved) onOutputRemoved(removed);
    persist();
}

std::int32_t VirtualPortManager::makeUniqueID(const std::string& name) const {
    std::int32_t candidate = uniqueIDForName(name);
    while (isOccupied(candidate))
        candidate =
            static_cast<std::int32_t>(Runtime::current().randomInteger(1, std::numeric_limits<std::int32_t>::max()));
    return candidate;
}

bool VirtualPortManager::isOccupied(std::int32_t uniqueID) const {
    const auto hasID = [uniqueID](const auto& port) { return port->uniqueID() == uniqueID; };
    if (std::any_of(inputPorts.begin(), inputPorts.end(), hasID)) return true;
    if (std::any_of(outputPorts.begin(), outputPorts.end(), hasID)) return true;
    MIDIObjectRef holder = 0;
    return MIDIService::current().MIDIObjectFindByUniqueID(uniqueID, holder) == midiSuccess && !isOwnEndpoint(holder);
}

bool VirtualPortManager::isOwnEndpoint(MIDIObjectRef object) const {
    const auto isIt = [object](const auto& port) { return port->endpointRef() == object; };
    return std::any_of(inputPorts.begin(), inputPorts.end(), isIt) ||
           std::any_of(outputPorts.begin(), outputPorts.end(), isIt);
}

void VirtualPortManager::create(const std::shared_ptr<VirtualInput>& port) {
    if (client == 0 || port->endpointRef() != 0) return;
    const auto read = [weakPort = std::weak_ptr(port), weakHandler = std::weak_ptr(messageHandler), spare = spareLists](
                          const PacketListView& list, std::uintptr_t) {
        const auto living = weakPort.lock();
        if (!living || weakHandler.expired()) return;
        MessageList gathered = takeSpare(*spare);
        living->receive(list, gathered);
        if (gathered.empty()) return giveBack(*spare, std::move(gathered));
        // Lost and counted by the runtime when the main thread is that far behind: the music never waits for it.
        Runtime::current().postToMain([weakHandler, spare, messages = std::move(gathered)]() mutable {
            const auto handler = weakHandler.lock();
            if (handler && *handler) (*handler)(messages);
            giveBack(*spare, std::move(messages));
        });
    };
    MIDIEndpointRef endpoint = 0;
    const MIDIStatus status =
        MIDIService::current().MIDIDestinationCreateWithBlock(client, port->name(), read, endpoint);
    finishCreation(*port, 0, status, endpoint);
}

void VirtualPortManager::create(const std::shared_ptr<VirtualOutput>& port) {
    if (client == 0 || port->endpointRef() != 0) return;
    MIDIEndpointRef endpoint = 0;
    const MIDIStatus status = MIDIService::current().MIDISourceCreate(client, port->name(), endpoint);
    finishCreation(*port, 1, status, endpoint);
}

template <class Port>
void VirtualPortManager::finishCreation(Port& port, int kind, MIDIStatus status, MIDIEndpointRef endpoint) {
    if (status != midiSuccess) {
        if (reportCreationFailure) reportCreationFailure(kind, status);
        return;
    }
    MIDIService::current().MIDIObjectSetIntegerProperty(endpoint, kMIDIPropertyUniqueID, port.uniqueID());
    port.setEndpoint(endpoint);
}

void VirtualPortManager::recordCreationFailure(int kind, MIDIStatus status) {
    if (DiagnosticLog* const recorder = DiagnosticLog::shared()) recorder->portCreationFailed(kind, status);
}

void VirtualPortManager::disposeAll() {
    const auto end = [](const auto& port) {
        dispose(*port);
        port->setEndpoint(0);
    };
    std::for_each(inputPorts.begin(), inputPorts.end(), end);
    std::for_each(outputPorts.begin(), outputPorts.end(), end);
    inputPorts.clear();
    outputPorts.clear();
}

void VirtualPortManager::persist() const {
    std::vector<PortEntry> entries;
    entries.reserve(inputPorts.size() + outputPorts.size());
    for (const auto& port : inputPorts) entries.push_back({port->name(), port->uniqueID(), false});
    for (const auto& port : outputPorts) entries.push_back({port->name(), port->uniqueID(), true});
    defaults.setJSON(defaultsKey, jsonFromPortEntries(entries));
}

}  // namespace varnolex
