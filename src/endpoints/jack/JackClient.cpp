#include "endpoints/jack/JackClient.hpp"

#include <jack/jack.h>
#include <jack/metadata.h>
#include <jack/midiport.h>
#include <jack/uuid.h>

#include <algorithm>
#include <array>
#include <limits>

#include "platform/Runtime.hpp"

namespace varnolex {

namespace {

/// Inlets with events in one cycle.
constexpr std::size_t pendingLimit = 1024;
/// Holds whatever one classic port can hold in a cycle, as one list if need be.
constexpr std::size_t listCapacity = 64 * 1024;
constexpr std::size_t longestPacket = 32'000;

/// What a cycle of one port may hold. The classic server takes nearly its whole buffer, others lose data above 16 KiB.
constexpr std::size_t classicCycleBytes = std::numeric_limits<std::size_t>::max();
constexpr std::size_t cautiousCycleBytes = 14 * 1024;
constexpr std::size_t eventOverhead = 16;

constexpr HostTime reclaimPatience = 20'000'000;

std::uint32_t framesBetween(std::int64_t counted, jack_nframes_t now) {
    return now - static_cast<std::uint32_t>(counted);
}

std::pair<std::string, std::string> splitName(const std::string& portName) {
    const auto colon = portName.find(':');
    if (colon == std::string::npos) return {"", portName};
    return {portName.substr(0, colon), portName.substr(colon + 1)};
}

std::string property(jack_uuid_t subject, const char* key) {
    char* value = nullptr;
    char* type = nullptr;
    std::string found;
    if (jack_get_property(subject, key, &value, &type) == 0 && value) found = value;
    jack_free(value);
    jack_free(type);
    return found;
}

std::string firstAlias(const jack_port_t* port) {
    std::vector<char> first(static_cast<std::size_t>(jack_port_name_size()));
    std::vector<char> second(first.size());
    std::array<char*, 2> const aliases{first.data(), second.data()};
    return jack_port_get_aliases(port, const_cast<char**>(aliases.data())) > 0 ? first.data() : "";
}

/// An alias is "driver:Device-Name/port"; the device is what a user knows.
std::string deviceOfAlias(const std::string& alias) {
    std::string device = splitName(alias).second;
    device = device.substr(0, device.find('/'));
    std::ranges::replace(device, '-', ' ');
    return device;
}

/// Fills the buffer of one port in one cycle.
class PortSink final : public JackEventSink {
public:
    /// With `countingLosses` nobody hears the port, and every event is counted as lost.
    PortSink(void* portBuffer, std::size_t cycleBytes, JackLosses* countingLosses)
        : buffer(portBuffer), losses(countingLosses), budget(cycleBytes) {
        jack_midi_clear_buffer(buffer);
        whole = std::min(jack_midi_max_event_size(buffer), budget);
    }

    std::size_t room() override { return std::min(jack_midi_max_event_size(buffer), budget); }
    std::size_t wholeRoom() override { return whole; }

    bool write(std::uint32_t offset, std::span<const std::uint8_t> event) override {
        jack_midi_data_t* const data = jack_midi_event_reserve(buffer, offset, event.size());
        if (!data) return false;
        std::copy(event.begin(), event.end(), data);
        budget -= std::min(budget, event.size() + eventOverhead);
        if (losses) losses->packets.add(1);
        return true;
    }

private:
    void* const buffer;
    JackLosses* const losses;
    std::size_t budget;
    std::size_t whole = 0;
};

/// Whether it is a port that a program of ours has for one endpoint of others: nobody is to play to it.
bool servesOnePeer(const std::string& portName) {
    const auto [clientPart, portPart] = splitName(portName);
    return clientPart.starts_with("Varnolex") &&
           (portPart.starts_with("from ") || portPart.starts_with("to ") || portPart.starts_with("tap "));
}

}  // namespace

/// An inlet with events in this cycle.
struct JackClient::Pending {
    const JackGraph::Inlet* inlet = nullptr;
    void* buffer = nullptr;
    std::uint32_t count = 0;
    std::uint32_t index = 0;
    jack_midi_event_t event{};

    bool load() { return index < count && jack_midi_event_get(&event, buffer, index++) == 0; }
    std::span<const std::uint8_t> bytes() const { return {event.buffer, event.size}; }
};

/// What JACK calls, with the client as its argument.
struct JackClient::Callbacks {
    static int process(jack_nframes_t frames, void* self) {
        static_cast<JackClient*>(self)->process(frames);
        return 0;
    }
    static void registered(jack_port_id_t id, int isThere, void* self) {
        auto* const client = static_cast<JackClient*>(self);
        const jack_port_t* const port = isThere ? jack_port_by_id(client->client, id) : nullptr;
        if (port) note(client->arrivals, std::string(jack_port_name(port)));
        client->on.changed();
    }
    static void renamed(jack_port_id_t, const char* from, const char* to, void* self) {
        auto* const client = static_cast<JackClient*>(self);
        note(client->renames, Rename{from, to});
        client->on.changed();
    }
    static void described(jack_uuid_t, const char*, jack_property_change_t, void* self) {
        static_cast<JackClient*>(self)->on.changed();
    }
    static void ended(jack_status_t, const char*, void* self) {
        auto* const client = static_cast<JackClient*>(self);
        client->isGone.set(true);
        client->on.changed();
    }
    static void discardText(const char*) {}
};

JackPort::~JackPort() {
    if (client.isAlive()) jack_port_unregister(client.client, port);
}

jack_client_t* openJackClient(const std::string& clientName, const std::string& serverName) {
    jack_status_t status{};
    if (serverName.empty()) return jack_client_open(clientName.c_str(), JackNoStartServer, &status);
    const auto options = static_cast<jack_options_t>(JackNoStartServer | JackServerName);
    return jack_client_open(clientName.c_str(), options, &status, serverName.c_str());
}

std::unique_ptr<JackClient> JackClient::connect(const std::string& clientName, const std::string& serverName,
                                                std::shared_ptr<JackTiming> sharedTiming,
                                                std::shared_ptr<JackLosses> sharedLosses, Calls calls) {
    jack_set_error_function(Callbacks::discardText);
    jack_set_info_function(Callbacks::discardText);
    jack_client_t* const opened = openJackClient(clientName, serverName);
    if (!opened) return nullptr;
    std::unique_ptr<JackClient> made(
        new JackClient(opened, std::move(sharedTiming), std::move(sharedLosses), std::move(calls)));
    JackClient* const self = made.get();
    jack_set_process_callback(opened, Callbacks::process, self);
    jack_set_port_registration_callback(opened, Callbacks::registered, self);
    jack_set_port_rename_callback(opened, Callbacks::renamed, self);
    jack_set_property_change_callback(opened, Callbacks::described, self);
    jack_on_info_shutdown(opened, Callbacks::ended, self);
    return jack_activate(opened) == 0 ? std::move(made) : nullptr;
}

JackClient::JackClient(_jack_client* opened, std::shared_ptr<JackTiming> sharedTiming,
                       std::shared_ptr<JackLosses> sharedLosses, Calls calls)
    : client(opened),
      timing(std::move(sharedTiming)),
      losses(std::move(sharedLosses)),
      on(std::move(calls)),
      isClassic(std::string_view(jack_get_version_string()).starts_with("1.")),
      listMemory(listCapacity) {
    pending.reserve(pendingLimit);
}

JackClient::~JackClient() {
    if (isAlive()) {
        jack_deactivate(client);
        setGraph(nullptr);
    }
    isGone.set(true);
    jack_client_close(client);
    setGraph(nullptr);
}

bool JackClient::setGraph(std::unique_ptr<const JackGraph> next) {
    graph.publish(std::move(next));
    const HostTime start = Runtime::current().hostTime();
    bool isReclaimed = graph.reclaim();
    while (!isReclaimed && Runtime::current().hostTime() - start < reclaimPatience) isReclaimed = graph.reclaim();
    return isReclaimed;
}

std::shared_ptr<JackPort> JackClient::makePort(const std::string& name, bool isInput) {
    constexpr int attempts = 100;
    const auto longest = static_cast<std::size_t>(jack_port_name_size()) - 1;
    const auto ownLength = std::string_view(jack_get_client_name(client)).size() + 1;
    const std::string wanted = name.empty() ? "MIDI" : name;
    for (int attempt = 1; attempt <= attempts; ++attempt) {
        const std::string suffix = attempt == 1 ? "" : " " + std::to_string(attempt);
        const std::string tried = wanted.substr(0, longest - ownLength - suffix.size()) + suffix;
        const auto flags = static_cast<unsigned long>(isInput ? JackPortIsInput : JackPortIsOutput);
        if (jack_port_t* const port = jack_port_register(client, tried.c_str(), JACK_DEFAULT_MIDI_TYPE, flags, 0))
            return std::make_shared<JackPort>(*this, port);
        const std::string taken = std::string(jack_get_client_name(client)) + ":" + tried;
        if (!jack_port_by_name(client, taken.c_str())) break;
    }
    return nullptr;
}

bool JackClient::isServing() {
    constexpr int stillQuestionsLimit = 3;
    const std::uint64_t cycles = cycleCount.get();
    stillQuestions = cycles == lastCycles ? stillQuestions + 1 : 0;
    lastCycles = cycles;
    return isAlive() && (isClassic || stillQuestions < stillQuestionsLimit);
}

void JackClient::rename(const JackPort& port, const std::string& name) {
    jack_port_rename(client, port.handle(), name.c_str());
}

void JackClient::connectPorts(const JackPort& port, const std::string& foreignPort) {
    if (jack_port_connected_to(port.handle(), foreignPort.c_str())) return;
    const std::string own = jack_port_name(port.handle());
    if (jack_port_flags(port.handle()) & JackPortIsInput)
        jack_connect(client, foreignPort.c_str(), own.c_str());
    else
        jack_connect(client, own.c_str(), foreignPort.c_str());
}

std::vector<JackForeignPort> JackClient::foreignPorts() const {
    std::vector<JackForeignPort> found;
    for (const bool isSource : {true, false}) {
        const auto flags = static_cast<unsigned long>(isSource ? JackPortIsOutput : JackPortIsInput);
        const char** const names = jack_get_ports(client, nullptr, JACK_DEFAULT_MIDI_TYPE, flags);
        for (const char** name = names; name && *name; ++name) {
            const jack_port_t* const port = jack_port_by_name(client, *name);
            if (port && !jack_port_is_mine(client, port) && !servesOnePeer(*name)) found.push_back({*name, isSource});
        }
        jack_free(names);
    }
    return found;
}

MIDIEndpointDescription JackClient::describe(const std::string& portName) const {
    const auto [clientPart, portPart] = splitName(portName);
    const bool repeatsClient = clientPart.empty() || portPart.starts_with(clientPart);
    MIDIEndpointDescription told{.displayName = repeatsClient ? portPart : clientPart + " " + portPart};
    const jack_port_t* const port = jack_port_by_name(client, portName.c_str());
    if (!port) return told;
    const std::string alias = firstAlias(port);
    const bool isDevice = (jack_port_flags(port) & JackPortIsPhysical) != 0;
    if (isDevice && !alias.empty()) told.model = deviceOfAlias(alias);
    if (!isDevice) told.driverOwner = clientPart;
    if (!alias.empty()) told.displayName = isDevice ? told.model : splitName(alias).second;
    const jack_uuid_t uuid = jack_port_uuid(port);
    if (const std::string hardware = property(uuid, JACK_METADATA_HARDWARE); !hardware.empty()) told.model = hardware;
    if (const std::string pretty = property(uuid, JACK_METADATA_PRETTY_NAME); !pretty.empty())
        told.displayName = pretty;
    return told;
}

void JackClient::process(std::uint32_t frames) {
    const JackCycle cycle = readCycle(frames);
    const JackTiming::Processing processing(*timing, cycle);
    const std::size_t cycleBytes = isClassic ? classicCycleBytes : cautiousCycleBytes;
    graph.read([&](const JackGraph* now) {
        if (!now) return;
        receive(*now, cycle, frames);
        for (const JackGraph::Outlet& each : now->outlets) {
            void* const buffer = jack_port_get_buffer(each.port->handle(), frames);
            if (!buffer) continue;
            const bool isHeard = !each.isForOneReceiver || jack_port_connected(each.port->handle()) > 0;
            PortSink sink(buffer, cycleBytes, isHeard ? nullptr : losses.get());
            if (each.outlet->mayFlow(isHeard)) each.outlet->drain(cycle, sink);
        }
    });
    cycleCount.add(1);
}

JackCycle JackClient::readCycle(std::uint32_t frames) {
    const HostTime before = Runtime::current().hostTime();
    const jack_time_t serverTime = jack_get_time();
    pairing.read(before, serverTime, Runtime::current().hostTime());
    jack_nframes_t first = 0;
    jack_time_t start = 0;
    jack_time_t next = 0;
    float periodMicroseconds = 0;
    const bool isTold = jack_get_cycle_times(client, &first, &start, &next, &periodMicroseconds) == 0 && next > start;
    if (!isTold) {
        first = jack_last_frame_time(client);
        start = serverTime;
        next = start + static_cast<jack_time_t>(frames) * 1'000'000 / jack_get_sample_rate(client);
    }
    frameCount += framesBetween(frameCount, first);
    return {frameCount, frames, pairing.hostTime(start), static_cast<double>(next - start) * 1000 / frames};
}

/// The events of all inlets in the order of their times, so that what a read block sends on is in order too. Those of
/// one inlet and one frame make one list.
void JackClient::receive(const JackGraph& now, const JackCycle& cycle, std::uint32_t frames) {
    pending.clear();
    for (const JackGraph::Inlet& inlet : now.inlets) {
        void* const buffer = jack_port_get_buffer(inlet.port->handle(), frames);
        if (!buffer) continue;
        if (const auto lost = jack_midi_get_lost_event_count(buffer)) losses->events.add(lost);
        Pending next{&inlet, buffer, jack_midi_get_event_count(buffer)};
        if (pending.size() == pendingLimit)
            losses->events.add(next.count);
        else if (next.load())
            pending.push_back(next);
    }
    while (!pending.empty()) {
        const auto earliest = std::ranges::min_element(
            pending, [](const Pending& one, const Pending& other) { return one.event.time < other.event.time; });
        const jack_nframes_t offset = earliest->event.time;
        const HostTime time = cycle.timeOfOffset(offset);
        PacketListBuilder list(listMemory);
        bool isMore = true;
        while (isMore && earliest->event.time == offset) {
            addEvent(*earliest->inlet, list, time, earliest->bytes());
            isMore = earliest->load();
        }
        on.received(*earliest->inlet, list.list());
        if (!isMore) pending.erase(earliest);
    }
}

void JackClient::addEvent(const JackGraph::Inlet& inlet, PacketListBuilder& list, HostTime time,
                          std::span<const std::uint8_t> event) {
    while (!event.empty()) {
        const auto part = event.first(std::min(event.size(), longestPacket));
        if (!list.add(time, part)) {
            on.received(inlet, list.list());
            list.clear();
            list.add(time, part);
        }
        event = event.subspan(part.size());
    }
}

}  // namespace varnolex
