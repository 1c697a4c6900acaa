#include "endpoints/jack/JackService.hpp"

#include <algorithm>
#include <chrono>
#include <set>

#include "platform/SupportFolder.hpp"

namespace varnolex {

namespace {

constexpr std::chrono::seconds pollPeriod{1};

}  // namespace

std::filesystem::path JackService::usualUniqueIDFile() { return SupportFolder().path() / "jack-endpoints.json"; }

JackService::JackService(Options chosen) : options(std::move(chosen)), uniqueIDs(options.uniqueIDFile) {
    connect();
    timer = Runtime::current().mainQueue().repeating(Runtime::current().hostTime(), pollPeriod, [this] { poll(); });
}

JackService::~JackService() {
    timer.reset();
    if (client) disconnect();
}

void JackService::poll() {
    if (!client) return connect();
    if (!client->isServing()) return disconnect();
    scan(false);
    reconcile();
}

void JackService::connect() {
    const auto received = [this](const JackGraph::Inlet& inlet, const PacketListView& list) {
        handIn(inlet.endpoint, inlet.isSource, list);
    };
    client = JackClient::connect(options.clientName, options.serverName, timing, losses,
                                 {received, [this] { scanning.ask(); }});
    if (!client) return;
    scan(true);
    reconcile();
}

void JackService::disconnect() {
    for (auto& [reference, link] : links) link.port.reset();
    client.reset();
    for (auto& [reference, link] : links)
        if (link.outlet) link.outlet->close();
    for (const auto& [name, reference] : foreign) setForeignPresent(reference, false);
    tableDidChange();
}

void JackService::changed() {
    if (!client) return;
    if (!client->isAlive()) return disconnect();
    scan(true);
    reconcile();
}

void JackService::scan(bool readsDetails) {
    followRenames();
    std::set<MIDIEndpointRef> present;
    for (const JackForeignPort& port : client->foreignPorts()) {
        const bool isNew = appear(port);
        const MIDIEndpointRef reference = foreign.at(port.name);
        present.insert(reference);
        if (const Endpoint* const endpoint = find(reference, false); endpoint && (isNew || readsDetails))
            describeForeign(reference, describe(port.name, endpoint->description.uniqueID));
        setForeignPresent(reference, true);
    }
    for (const auto& [name, reference] : foreign)
        if (!present.contains(reference)) setForeignPresent(reference, false);
    connectWhatCameBack();
    forgetTheLongGone();
}

void JackService::forgetTheLongGone() {
    isReconciling = true;
    for (const MIDIEndpointRef reference : longGoneForeign()) {
        foreign.erase(links[reference].foreignName);
        removeForeign(reference);
    }
    isReconciling = false;
}

/// A port that went and came back before anybody looked has lost its connection.
void JackService::connectWhatCameBack() {
    for (const std::string& name : client->takeArrivals()) {
        const auto known = foreign.find(name);
        if (known == foreign.end()) continue;
        const Link& link = links[known->second];
        if (link.port) client->connectPorts(*link.port, name);
    }
}

bool JackService::appear(const JackForeignPort& port) {
    const auto known = foreign.find(port.name);
    if (known != foreign.end()) {
        const Endpoint* const endpoint = find(known->second, false);
        if (endpoint && endpoint->isSource == port.isSource) return !endpoint->isPresent;
        removeForeign(known->second);
        foreign.erase(known);
    }
    const auto taken = [this](std::int32_t uniqueID) { return isTaken(uniqueID); };
    const std::int32_t uniqueID = uniqueIDs.idForName(port.name, taken);
    // Nothing may be made of it before its name is known here.
    isReconciling = true;
    const MIDIEndpointRef reference = addForeign(describe(port.name, uniqueID), port.isSource);
    isReconciling = false;
    foreign.emplace(port.name, reference);
    links[reference].foreignName = port.name;
    tableDidChange();
    return false;
}

void JackService::followRenames() {
    for (const JackClient::Rename& rename : client->takeRenames()) {
        const auto known = foreign.find(rename.from);
        if (known == foreign.end() || rename.from == rename.to) continue;
        const MIDIEndpointRef reference = known->second;
        const Endpoint* const endpoint = find(reference, false);
        if (const auto former = foreign.find(rename.to); former != foreign.end()) {
            removeForeign(former->second);
            foreign.erase(former);
        }
        const auto taken = [this](std::int32_t uniqueID) { return isTaken(uniqueID); };
        const std::int32_t uniqueID = uniqueIDs.rename(rename.from, rename.to, endpoint->description.uniqueID, taken);
        foreign.erase(known);
        foreign.emplace(rename.to, reference);
        links[reference].foreignName = rename.to;
        describeForeign(reference, describe(rename.to, uniqueID));
    }
}

MIDIEndpointDescription JackService::describe(const std::string& portName, std::int32_t uniqueID) const {
    MIDIEndpointDescription told = client->describe(portName);
    told.uniqueID = uniqueID;
    return told;
}

void JackService::tableDidChange() { reconcile(); }

/// Makes outlets and ports agree with the table. True when something had to change.
bool JackService::reconcile() {
    if (isReconciling) return false;
    isReconciling = true;
    bool isChanged = dropLinksOfTheGone();
    std::vector<std::pair<std::shared_ptr<JackPort>, std::string>> toConnect;
    std::vector<std::shared_ptr<JackOutlet>> toClose;
    for (const auto& [reference, endpoint] : allEndpoints()) {
        Link& link = links[reference];
        addMissingOutlet(reference, endpoint, link);
        const bool isWanted = client && wantsPort(endpoint, link);
        if (isWanted && !link.port && addMissingPort(endpoint, link)) {
            isChanged = true;
            if (!link.foreignName.empty()) toConnect.emplace_back(link.port, link.foreignName);
        } else if (!isWanted && link.port) {
            link.port.reset();
            isChanged = true;
        } else if (link.port && endpoint.isVirtual && link.portName != endpoint.description.displayName) {
            link.portName = endpoint.description.displayName;
            client->rename(*link.port, link.portName);
        }
        if (link.outlet && endpoint.isVirtual) link.outlet->setOpen(link.port != nullptr);
        if (link.outlet && !endpoint.isPresent && link.outlet->isUsed()) toClose.push_back(link.outlet);
    }
    const bool isOldGraphUnused = !isChanged || !client || publishGraph();
    if (isOldGraphUnused)
        for (const auto& outlet : toClose) outlet->close();
    for (const auto& [port, name] : toConnect) client->connectPorts(*port, name);
    isReconciling = false;
    return isChanged;
}

bool JackService::dropLinksOfTheGone() {
    return std::erase_if(
               links, [this](const auto& entry) { return !find(entry.first, true) && !find(entry.first, false); }) > 0;
}

bool JackService::wantsPort(const Endpoint& endpoint, const Link& link) const {
    if (endpoint.isVirtual) return true;
    if (!endpoint.isPresent || link.foreignName.empty()) return false;
    return endpoint.isSource ? !endpoint.connections.empty() : link.outlet->isUsed();
}

void JackService::addMissingOutlet(MIDIEndpointRef reference, const Endpoint& endpoint, Link& link) {
    if (link.outlet || endpoint.isSource != endpoint.isVirtual) return;
    std::function<bool()> whenFirstUsed;
    if (!endpoint.isVirtual)
        whenFirstUsed = [weak = std::weak_ptr(self)] {
            return Runtime::current().postToMain([weak] {
                if (const auto living = weak.lock()) (*living)->reconcile();
            });
        };
    link.outlet = std::make_shared<JackOutlet>(timing, losses, std::move(whenFirstUsed));
    addOutlet(reference, link.outlet);
}

bool JackService::addMissingPort(const Endpoint& endpoint, Link& link) {
    const bool isInput = endpoint.isSource != endpoint.isVirtual;
    link.portName = endpoint.description.displayName;
    const std::string label = endpoint.isSource ? "from " : "to ";
    link.port = client->makePort(endpoint.isVirtual ? link.portName : label + link.foreignName, isInput);
    return link.port != nullptr;
}

bool JackService::publishGraph() {
    auto next = std::make_unique<JackGraph>();
    for (const auto& [reference, link] : links) {
        if (!link.port) continue;
        const Endpoint* const own = find(reference, true);
        const Endpoint* const endpoint = own ? own : find(reference, false);
        if (link.outlet)
            next->outlets.push_back({link.port, link.outlet, own == nullptr});
        else
            next->inlets.push_back({link.port, reference, endpoint->isSource});
    }
    return client->setGraph(std::move(next));
}

bool JackService::isDelivering() const {
    const auto isOnItsWay = [](const auto& entry) { return entry.second.outlet && !entry.second.outlet->isEmpty(); };
    return std::ranges::any_of(links, isOnItsWay);
}

}  // namespace varnolex
