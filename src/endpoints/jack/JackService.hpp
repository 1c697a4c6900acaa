#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "endpoints/EndpointTable.hpp"
#include "endpoints/UniqueIDTable.hpp"
#include "endpoints/jack/JackClient.hpp"
#include "platform/MainThreadCall.hpp"

namespace varnolex {

/// The MIDI service of a JACK server. It never starts one: without a server the endpoints of others are missing, and
/// once a second it looks for one. When the server goes, so do they; when it comes back, our ports and connections come
/// back with it, and every endpoint has the reference that it had.
///
/// Endpoints: each MIDI output port of another client is a source, each input port a destination, each endpoint of ours
/// a port of ours. For every source that is connected, and every destination that anything is sent to, our client has
/// one more port, "from ..." or "to ...", which isn't listed here.
///
/// What an endpoint tells: its display name is the port's pretty name, else its alias, else client and port name. The
/// model is what the port's metadata calls the hardware, else a physical port's alias. The driver owner is the client
/// behind a port that isn't physical. JACK knows no manufacturers.
///
/// Unique IDs: `uniqueIDForName` of "client:port", which is what stays the same when both sides start again. When
/// another endpoint has that ID the port gets the next free one, and a port that is renamed keeps its ID; both are
/// remembered in a file (`UniqueIDTable`), so that the same client and port name gets the same ID the next time.
///
/// Time: a packet's time is that of its frame, and what is sent leaves as `JackOutlet` says.
///
/// Threads: as the contract says; read blocks run on JACK's process thread, and for lists of this process on the
/// service's own queue, never twice at once.
class JackService final : public EndpointTable {
public:
    /// Where all programs of ours keep displaced unique IDs, so that they agree on them: among the user's data.
    static std::filesystem::path usualUniqueIDFile();

    struct Options {
        std::string clientName = "Varnolex";
        /// Empty for the server that JACK_DEFAULT_SERVER names, or the default one.
        std::string serverName{};
        /// Where displaced unique IDs are kept; empty for nowhere.
        std::filesystem::path uniqueIDFile{};
    };

    /// Connects at once if there is a server.
    explicit JackService(Options chosen);
    ~JackService() override;

    /// Whether a server is there.
    bool isConnected() const { return client != nullptr; }

    /// What couldn't be delivered to others, in packets or parts of packets: it found no place, was no MIDI message, or
    /// its receiver went. Any thread.
    std::uint64_t lostPackets() const { return losses->packets.get(); }
    /// Events of others that the server reports as lost on their way to us. Any thread.
    std::uint64_t lostEvents() const { return losses->events.get(); }

    std::string_view backendName() const override { return "jack"; }
    bool isDelivering() const override;

protected:
    void tableDidChange() override;

private:
    /// An endpoint's hold in the transport.
    struct Link {
        /// "client:port" of another client's port; empty for an endpoint of ours.
        std::string foreignName{};
        /// What our port was last called.
        std::string portName{};
        std::shared_ptr<JackOutlet> outlet{};
        std::shared_ptr<JackPort> port{};
    };

    void poll();
    void connect();
    void disconnect();
    void changed();

    void scan(bool readsDetails);
    void followRenames();
    void connectWhatCameBack();
    void forgetTheLongGone();
    bool appear(const JackForeignPort& port);
    MIDIEndpointDescription describe(const std::string& portName, std::int32_t uniqueID) const;

    bool reconcile();
    bool wantsPort(const Endpoint& endpoint, const Link& link) const;
    void addMissingOutlet(MIDIEndpointRef reference, const Endpoint& endpoint, Link& link);
    bool addMissingPort(const Endpoint& endpoint, Link& link);
    bool dropLinksOfTheGone();
    bool publishGraph();

    const Options options;
    UniqueIDTable uniqueIDs;
    std::shared_ptr<JackTiming> timing = std::make_shared<JackTiming>();
    std::shared_ptr<JackLosses> losses = std::make_shared<JackLosses>();
    std::map<MIDIEndpointRef, Link> links;
    /// By "client:port".
    std::map<std::string, MIDIEndpointRef> foreign;
    std::unique_ptr<JackClient> client;
    bool isReconciling = false;
    /// Lets what JACK's threads have posted see that the service is gone.
    std::shared_ptr<JackService*> self = std::make_shared<JackService*>(this);
    /// Asked for by the threads of the service behind it, which are gone before it is.
    MainThreadCall scanning{[this] { changed(); }};
    RepeatingTimer timer;
};

}  // namespace varnolex
