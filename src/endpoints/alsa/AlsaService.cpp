#include "endpoints/alsa/AlsaService.hpp"

#include <algorithm>
#include <chrono>

#include "endpoints/alsa/AlsaClient.hpp"
#include "platform/Runtime.hpp"

namespace varnolex {

namespace {

constexpr std::chrono::seconds pollPeriod{1};

bool isNewAt(const AlsaChanges& changes, AlsaAddress address) {
    return changes.isIncomplete || std::ranges::find(changes.arrivals, address) != changes.arrivals.end();
}

}  // namespace

AlsaService::AlsaService(Options chosen) : AlsaService(std::move(chosen), AlsaClient::open) {}

AlsaService::AlsaService(Options chosen, AlsaSequencer::Opening wayToOpen)
    : options(std::move(chosen)), uniqueIDs(options.uniqueIDFile), opening(std::move(wayToOpen)) {
    open();
    timer = Runtime::current().mainQueue().repeating(Runtime::current().hostTime(), pollPeriod, [this] { poll(); });
}

AlsaService::~AlsaService() {
    timer.reset();
    sequencer.reset();
}

void AlsaService::poll() {
    if (!sequencer) return open();
    if (!sequencer->isAlive()) return close();
    if (isConnectionRefused) reconcile();
}

void AlsaService::open() {
    const auto received = [this](const AlsaGraph::Inlet& inlet, const PacketListView& list) {
        handIn(inlet.endpoint, inlet.isSource, list);
    };
    sequencer = opening(options.clientName, bell, losses, {received, [this] { scanning.ask(); }}, reason);
    if (!sequencer) return;
    reason.clear();
    scan();
    reconcile();
}

void AlsaService::close() {
    sequencer.reset();
    reason = "The ALSA sequencer has failed.";
    kept = {};
    places.clear();
    for (auto& [reference, link] : links) {
        link.address.reset();
        link.port.reset();
        link.isConnected = false;
        if (link.outlet) link.outlet->close();
    }
    for (const auto& [key, reference] : foreign) setForeignPresent(reference, false);
    tableDidChange();
}

void AlsaService::changed() {
    if (!sequencer) return;
    if (!sequencer->isAlive()) return close();
    scan();
    reconcile();
}

void AlsaService::scan() {
    const AlsaChanges changes = sequencer->takeChanges();
    const std::vector<AlsaPortInfo> ports = sequencer->foreignPorts();
    forgetTheGone(ports, changes);
    for (const AlsaPortInfo& port : ports) {
        if (port.isSource) take(port, true);
        if (port.isDestination) take(port, false);
    }
    forgetTheLongGone();
}

void AlsaService::forgetTheLongGone() {
    isReconciling = true;
    for (const MIDIEndpointRef reference : longGoneForeign()) {
        foreign.erase(links[reference].key);
        removeForeign(reference);
    }
    isReconciling = false;
}

void AlsaService::forgetTheGone(const std::vector<AlsaPortInfo>& ports, const AlsaChanges& changes) {
    const auto former = places;
    for (const auto& [place, reference] : former) {
        const auto isThere = [&place = place](const AlsaPortInfo& port) {
            return port.address == place.address && (place.isSource ? port.isSource : port.isDestination);
        };
        const auto found = std::ranges::find_if(ports, isThere);
        const bool isNew = found != ports.end() && isNewAt(changes, place.address);
        if (found == ports.end() || (isNew && identityOf(*found, place.isSource) != links[reference].identity))
            leave(reference);
        else if (isNew)
            // It went and came back before anybody looked, and has lost its connection.
            links[reference].isConnected = false;
    }
}

void AlsaService::take(const AlsaPortInfo& port, bool isSource) {
    const std::string identity = identityOf(port, isSource);
    const auto known = places.find({port.address, isSource});
    if (known == places.end()) return appear(port, isSource, identity);
    const MIDIEndpointRef reference = known->second;
    if (links[reference].identity != identity) return follow(reference, port, identity);
    MIDIEndpointDescription told = describe(port);
    told.uniqueID = find(reference, false)->description.uniqueID;
    describeForeign(reference, std::move(told));
}

/// A port has another name. One that has come back under that name takes its old place, with its connections.
void AlsaService::follow(MIDIEndpointRef reference, const AlsaPortInfo& port, const std::string& identity) {
    const Endpoint& endpoint = *find(reference, false);
    const std::string key = freeKey(identity);
    if (foreign.contains(key)) {
        leave(reference);
        return appear(port, endpoint.isSource, identity);
    }
    Link& link = links[reference];
    MIDIEndpointDescription told = describe(port);
    told.uniqueID = uniqueIDs.rename(link.key, key, endpoint.description.uniqueID, taken());
    foreign.erase(link.key);
    foreign.emplace(key, reference);
    link.key = key;
    link.identity = identity;
    describeForeign(reference, std::move(told));
}

void AlsaService::appear(const AlsaPortInfo& port, bool isSource, const std::string& identity) {
    const std::string key = freeKey(identity);
    MIDIEndpointDescription told = describe(port);
    const auto known = foreign.find(key);
    if (known != foreign.end()) {
        const MIDIEndpointRef reference = known->second;
        links[reference].address = port.address;
        places.insert_or_assign({port.address, isSource}, reference);
        told.uniqueID = find(reference, false)->description.uniqueID;
        describeForeign(reference, std::move(told));
        setForeignPresent(reference, true);
        return;
    }
    told.uniqueID = uniqueIDs.idForName(key, taken());
    // Nothing may be made of it before its place is known here.
    isReconciling = true;
    const MIDIEndpointRef reference = addForeign(std::move(told), isSource);
    isReconciling = false;
    foreign.emplace(key, reference);
    Link& link = links[reference];
    link.key = key;
    link.identity = identity;
    link.address = port.address;
    places.insert_or_assign({port.address, isSource}, reference);
    tableDidChange();
}

/// One that nothing has, or nothing that is there.
std::string AlsaService::freeKey(const std::string& identity) const {
    std::string key = identity;
    for (int number = 2;; ++number) {
        const auto known = foreign.find(key);
        if (known == foreign.end() || !links.at(known->second).address) return key;
        key = identity + " #" + std::to_string(number);
    }
}

void AlsaService::leave(MIDIEndpointRef reference) {
    Link& link = links[reference];
    places.erase({*link.address, find(reference, false)->isSource});
    // Should the port be there yet, under another name, its connection isn't this endpoint's any more.
    if (link.isConnected) kept.connections.emplace_back(*link.address, find(reference, false)->isSource);
    link.address.reset();
    link.isConnected = false;
    setForeignPresent(reference, false);
}

std::function<bool(std::int32_t)> AlsaService::taken() const {
    return [this](std::int32_t uniqueID) { return isTaken(uniqueID); };
}

void AlsaService::tableDidChange() { reconcile(); }

/// Makes outlets, ports and connections agree with the table.
void AlsaService::reconcile() {
    if (isReconciling) return;
    isReconciling = true;
    isConnectionRefused = false;
    Leftovers leftovers = std::exchange(kept, {});
    dropLinksOfTheGone(leftovers);
    for (const auto& [reference, endpoint] : allEndpoints()) {
        Link& link = links[reference];
        addMissingOutlet(reference, endpoint, link);
        if (endpoint.isVirtual)
            reconcileOwn(endpoint, link);
        else
            reconcileForeign(reference, endpoint, link, leftovers);
    }
    if (publishGraph())
        undo(leftovers);
    else
        kept = std::move(leftovers);
    isReconciling = false;
}

void AlsaService::dropLinksOfTheGone(Leftovers& leftovers) {
    std::erase_if(links, [&](const auto& entry) {
        const auto& [reference, link] = entry;
        if (find(reference, true) || find(reference, false)) return false;
        if (link.port) leftovers.ports.push_back(*link.port);
        return true;
    });
}

void AlsaService::addMissingOutlet(MIDIEndpointRef reference, const Endpoint& endpoint, Link& link) {
    if (link.outlet || endpoint.isSource != endpoint.isVirtual) return;
    std::function<bool()> whenFirstUsed;
    if (!endpoint.isVirtual)
        whenFirstUsed = [weak = std::weak_ptr(self)] {
            return Runtime::current().postToMain([weak] {
                if (const auto living = weak.lock()) (*living)->reconcile();
            });
        };
    link.outlet = std::make_shared<AlsaOutlet>(bell, losses, std::move(whenFirstUsed));
    addOutlet(reference, link.outlet);
}

void AlsaService::reconcileOwn(const Endpoint& endpoint, Link& link) {
    const std::string& name = endpoint.description.displayName;
    if (sequencer && !link.port) {
        link.port = sequencer->makePort(name, endpoint.isSource);
        link.portName = name;
    } else if (sequencer && link.portName != name) {
        sequencer->renamePort(*link.port, name);
        link.portName = name;
    }
    if (link.outlet) link.outlet->setOpen(link.port.has_value());
}

void AlsaService::reconcileForeign(MIDIEndpointRef reference, const Endpoint& endpoint, Link& link,
                                   Leftovers& leftovers) {
    const bool isAsked = endpoint.isSource ? !endpoint.connections.empty() : link.outlet->isUsed();
    const bool isThere = sequencer && endpoint.isPresent && link.address;
    if (isAsked && isThere && !link.isConnected) {
        link.isConnected = sequencer->connect(*link.address, endpoint.isSource);
        isConnectionRefused = isConnectionRefused || !link.isConnected;
    } else if (!isAsked && link.isConnected) {
        leftovers.connections.emplace_back(*link.address, endpoint.isSource);
        link.isConnected = false;
    }
    if (!endpoint.isSource && isAsked && !link.isConnected) leftovers.destinations.push_back(reference);
}

bool AlsaService::publishGraph() {
    if (!sequencer) return true;
    auto next = std::make_unique<AlsaGraph>();
    for (const auto& [reference, link] : links) {
        const AlsaGraph::Inlet inlet{reference, !link.port};
        if (link.port && link.outlet)
            next->outlets.push_back({link.outlet, std::nullopt, *link.port, sequencer->listeners(*link.port)});
        else if (link.port)
            next->destinations.emplace(*link.port, inlet);
        else if (link.isConnected && link.outlet)
            next->outlets.push_back({link.outlet, link.address, 0, sequencer->receivers(*link.address)});
        else if (link.isConnected)
            next->sources.emplace(*link.address, inlet);
    }
    return sequencer->setGraph(std::move(next));
}

void AlsaService::undo(const Leftovers& leftovers) {
    for (const MIDIEndpointRef reference : leftovers.destinations)
        if (const auto found = links.find(reference); found != links.end() && !found->second.isConnected)
            found->second.outlet->close();
    if (!sequencer) return;
    for (const int port : leftovers.ports) sequencer->removePort(port);
    for (const auto& [address, isSource] : leftovers.connections) {
        const auto place = places.find({address, isSource});
        if (place == places.end() || !links[place->second].isConnected) sequencer->disconnect(address, isSource);
    }
}

bool AlsaService::isDelivering() const {
    const auto isOnItsWay = [](const auto& entry) { return entry.second.outlet && !entry.second.outlet->isEmpty(); };
    return std::ranges::any_of(links, isOnItsWay);
}

}  // namespace varnolex
