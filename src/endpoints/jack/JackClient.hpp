#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "endpoints/EndpointTable.hpp"
#include "endpoints/jack/JackOutlet.hpp"
#include "platform/concurrency/Guarded.hpp"

struct _jack_client;
struct _jack_port;

namespace varnolex {

/// A port of another client.
struct JackForeignPort {
    /// "client:port".
    std::string name;
    bool isSource = false;
};

/// Opens a client at the server of that name, or at the usual one for an empty name. Never starts a server: null when
/// there is none, or none that takes us. Main thread.
_jack_client* openJackClient(const std::string& clientName, const std::string& serverName);

class JackClient;

/// A MIDI port of ours, unregistered when it goes. Main thread.
class JackPort {
public:
    JackPort(const JackClient& ownClient, _jack_port* registered) : client(ownClient), port(registered) {}
    ~JackPort();
    JackPort(const JackPort&) = delete;
    JackPort& operator=(const JackPort&) = delete;

    _jack_port* handle() const { return port; }

private:
    const JackClient& client;
    _jack_port* const port;
};

/// What a cycle works on.
struct JackGraph {
    struct Inlet {
        std::shared_ptr<JackPort> port;
        MIDIEndpointRef endpoint = 0;
        bool isSource = false;
    };
    struct Outlet {
        std::shared_ptr<JackPort> port;
        std::shared_ptr<JackOutlet> outlet;
        /// It leads to a port of another client, and is of no use while it isn't connected.
        bool isForOneReceiver = false;
    };
    std::vector<Inlet> inlets;
    std::vector<Outlet> outlets;
};

/// One connection to a JACK server, from its opening to its end; a server that comes back gets another one. Main
/// thread, but for what says otherwise. Never starts a server.
class JackClient {
public:
    struct Rename {
        std::string from;
        std::string to;
    };

    struct Calls {
        /// Process thread, inside the cycle: an event list for an endpoint of ours or from a source of others.
        std::function<void(const JackGraph::Inlet& inlet, const PacketListView& list)> received;
        /// A thread of JACK: ports have come or gone, or tell something else of themselves.
        std::function<void()> changed;
    };

    /// Null when there is no server, or none that takes us.
    static std::unique_ptr<JackClient> connect(const std::string& clientName, const std::string& serverName,
                                               std::shared_ptr<JackTiming> sharedTiming,
                                               std::shared_ptr<JackLosses> sharedLosses, Calls calls);
    /// Ends the cycles first; then all ports of ours must be dropped with the graph.
    ~JackClient();
    JackClient(const JackClient&) = delete;
    JackClient& operator=(const JackClient&) = delete;

    /// Replaces what the cycles work on. When it returns true no cycle uses the old graph any more, and its ports are
    /// unregistered as far as nobody else holds them; false leaves that to a later call, which is rare.
    bool setGraph(std::unique_ptr<const JackGraph> next);

    /// Takes a name like the one asked for when that is taken. Null when the server has no room.
    std::shared_ptr<JackPort> makePort(const std::string& name, bool isInput);
    void rename(const JackPort& port, const std::string& name);
    /// From the foreign port to ours or the other way round, by the direction of ours. Nothing if they are connected.
    void connectPorts(const JackPort& port, const std::string& foreignPort);

    /// All MIDI ports of others, without those that another program of ours keeps for a single peer.
    std::vector<JackForeignPort> foreignPorts() const;
    /// What a port tells of itself.
    MIDIEndpointDescription describe(const std::string& portName) const;
    /// The renamings since the last call.
    std::vector<Rename> takeRenames() { return renames.take(); }

    /// The names of the ports that were registered since the last call, ours among them. One that went and came back
    /// between two looks at `foreignPorts` is found here alone.
    std::vector<std::string> takeArrivals() { return arrivals.take(); }

    /// False once the server has gone, as far as it said so.
    bool isAlive() const { return !isGone.get(); }
    /// To be asked once a second or so: false once the server has gone, also one that doesn't say so and merely has
    /// stood still for several questions.
    bool isServing();

private:
    struct Callbacks;
    struct Pending;
    friend class JackPort;

    JackClient(_jack_client* opened, std::shared_ptr<JackTiming> sharedTiming, std::shared_ptr<JackLosses> sharedLosses,
               Calls calls);
    /// Nobody has to look at the notes, so their number is limited.
    template <class Note>
    static void note(Guarded<std::vector<Note>>& notes, Note next) {
        constexpr std::size_t limit = 4096;
        notes.with([&](auto& list) {
            if (list.size() < limit) list.push_back(std::move(next));
        });
    }

    void process(std::uint32_t frames);
    JackCycle readCycle(std::uint32_t frames);
    void receive(const JackGraph& graph, const JackCycle& cycle, std::uint32_t frames);
    void addEvent(const JackGraph::Inlet& inlet, PacketListBuilder& list, HostTime time,
                  std::span<const std::uint8_t> event);

    _jack_client* const client;
    const std::shared_ptr<JackTiming> timing;
    const std::shared_ptr<JackLosses> losses;
    const Calls on;
    const bool isClassic;
    Published<JackGraph> graph;
    Guarded<std::vector<Rename>> renames;
    Guarded<std::vector<std::string>> arrivals;
    SharedValue<bool> isGone{false};
    SharedValue<std::uint64_t> cycleCount{0};
    std::uint64_t lastCycles = 0;
    int stillQuestions = 0;

    // The process thread's own.
    ClockPairing pairing;
    std::int64_t frameCount = 0;
    std::vector<Pending> pending;
    std::vector<std::uint8_t> listMemory;
};

}  // namespace varnolex
