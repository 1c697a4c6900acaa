#include "endpoints/tap/JackDestinationTap.hpp"

#include <jack/jack.h>

#include <algorithm>

namespace varnolex {

namespace {

constexpr std::chrono::seconds pollPeriod{1};

}  // namespace

JackDestinationTap::JackDestinationTap(Options chosen) : options(std::move(chosen)), uniqueIDs(options.uniqueIDFile) {
    connect();
    timer = Runtime::current().mainQueue().repeating(Runtime::current().hostTime(), pollPeriod, [this] { poll(); });
}

JackDestinationTap::~JackDestinationTap() {
    timer.reset();
    disconnect();
}

void JackDestinationTap::start(std::int32_t uniqueID) {
    if (tapped.try_emplace(uniqueID).second) look();
}

void JackDestinationTap::stop(std::int32_t uniqueID) {
    const auto known = tapped.find(uniqueID);
    if (known == tapped.end()) return;
    const Tapped ended = std::move(known->second);
    tapped.erase(known);
    if (client && ended.port) publishGraph();
}

void JackDestinationTap::poll() {
    if (!client) return connect();
    if (!client->isServing()) return disconnect();
    look();
}

void JackDestinationTap::connect() {
    const auto received = [this](const JackGraph::Inlet& inlet, const PacketListView& list) {
        listener(static_cast<std::int32_t>(inlet.endpoint), list);
    };
    const auto changed = [this] { looking.ask(); };
    client = JackClient::connect(options.clientName, options.serverName, timing, losses, {received, changed});
    if (client) connections = JackConnections::open(options.clientName + " Watch", options.serverName, changed);
    if (!connections) return client.reset();
    look();
}

void JackDestinationTap::disconnect() {
    connections.reset();
    for (auto& [uniqueID, tap] : tapped) tap = Tapped();
    client.reset();
}

void JackDestinationTap::look() {
    if (!client) return;
    if (!client->isAlive() || !connections->isAlive()) return disconnect();
    readNames();
    if (followDestinations()) publishGraph();
    followConnections();
}

/// As the service does: in the same order, and a port that was renamed keeps its ID.
void JackDestinationTap::readNames() {
    std::string asked;
    const auto isTaken = [&](std::int32_t uniqueID) {
        return std::ranges::any_of(knownIDs,
                                   [&](const auto& known) { return known.second == uniqueID && known.first != asked; });
    };
    for (const JackClient::Rename& rename : client->takeRenames()) {
        const auto former = knownIDs.find(rename.from);
        if (former == knownIDs.end() || rename.from == rename.to) continue;
        const std::int32_t presentID = former->second;
        knownIDs.erase(former);
        asked = rename.to;
        knownIDs[rename.to] = uniqueIDs.rename(rename.from, rename.to, presentID, isTaken);
    }
    present.clear();
    for (const JackForeignPort& port : client->foreignPorts()) {
        auto known = knownIDs.find(port.name);
        asked = port.name;
        if (known == knownIDs.end()) known = knownIDs.emplace(port.name, uniqueIDs.idForName(port.name, isTaken)).first;
        if (!port.isSource) present[known->second] = port.name;
    }
}

/// True when a port came or went.
bool JackDestinationTap::followDestinations() {
    bool isChanged = false;
    for (auto& [uniqueID, tap] : tapped) {
        const auto there = present.find(uniqueID);
        const std::string name = there != present.end() ? there->second : std::string();
        if (name == tap.destination && (tap.port || name.empty())) continue;
        tap.destination = name;
        tap.port = name.empty() ? nullptr : client->makePort("tap " + name, true);
        isChanged = true;
    }
    return isChanged;
}

void JackDestinationTap::publishGraph() {
    auto next = std::make_unique<JackGraph>();
    for (const auto& [uniqueID, tap] : tapped)
        if (tap.port) next->inlets.push_back({tap.port, static_cast<MIDIEndpointRef>(uniqueID), false});
    client->setGraph(std::move(next));
}

void JackDestinationTap::followConnections() {
    for (const auto& [uniqueID, tap] : tapped) {
        if (!tap.port) continue;
        const std::string own = jack_port_name(tap.port->handle());
        const std::set<std::string> wanted = connections->of(tap.destination);
        const std::set<std::string> made = connections->of(own);
        for (const std::string& source : wanted)
            if (!made.contains(source)) connections->connect(source, own);
        for (const std::string& source : made)
            if (!wanted.contains(source)) connections->disconnect(source, own);
    }
}

}  // namespace varnolex
