#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "endpoints/EndpointTable.hpp"
#include "endpoints/UniqueIDTable.hpp"
#include "endpoints/alsa/AlsaSequencer.hpp"
#include "platform/MainThreadCall.hpp"

namespace varnolex {

/// The MIDI service of the ALSA sequencer. Without one (no /dev/snd/seq, or no right to open it) the endpoints of
/// others are missing, and it is looked for again once a second.
///
/// Endpoints: each port of another client that may be read and connected to is a source, each that may be written and
/// connected to a destination, one port perhaps both. The system's own client and ports that aren't for others are
/// left out. Each endpoint of ours is a port of ours. A destination is connected to when something is sent to it.
///
/// What an endpoint tells: its display name is client and port name, without saying anything twice. The model is the
/// sound card's name and the driver owner the card's driver; without a card the driver owner is the client. The
/// sequencer knows no manufacturers.
///
/// Unique IDs: `uniqueIDForName` of direction, client and port name, which is what stays the same when both sides start
/// again; client numbers, and process numbers in names, have no part in it. Of several ports with the same names the
/// second and later ones are numbered in the order of their appearance. When another endpoint has that ID the port gets
/// the next free one, and a port that is renamed keeps its ID; both are remembered in a file (`UniqueIDTable`). An
/// endpoint that comes back has the reference that it had, and its connections.
///
/// Time: a packet's time is that of its delivery, as the sequencer saw it. What is sent leaves as `AlsaOutlet` says.
///
/// Threads: as the contract says; read blocks run on the service's thread, and for lists of this process on its own
/// queue, never twice at once. What a read block sends leaves when it returns, without another thread.
class AlsaService final : public EndpointTable {
public:
    struct Options {
        std::string clientName = "Varnolex";
        /// Where displaced unique IDs are kept; empty for nowhere.
        std::filesystem::path uniqueIDFile{};
    };

    /// Opens the sequencer at once if there is one.
    explicit AlsaService(Options chosen);
    /// The same with another way to open it.
    AlsaService(Options chosen, AlsaSequencer::Opening wayToOpen);
    ~AlsaService() override;

    /// Whether the sequencer is there.
    bool isConnected() const { return sequencer != nullptr; }

    /// Why it isn't, as a sentence for users. Empty while it is.
    const std::string& reasonForAbsence() const { return reason; }

    /// What couldn't be delivered to others, in packets or parts of packets. Any thread.
    std::uint64_t lostPackets() const { return losses->packets.get(); }
    /// How often the sequencer threw away what had come for us because it wasn't read in time. Any thread.
    std::uint64_t overruns() const { return losses->overruns.get(); }

    std::string_view backendName() const override { return "alsa"; }
    bool isDelivering() const override;

protected:
    void tableDidChange() override;

private:
    /// An endpoint's hold in the sequencer.
    struct Link {
        /// Of another client's port: what it is known by, and the same without its number among ports of one name.
        std::string key{};
        std::string identity{};
        /// While it is there.
        std::optional<AlsaAddress> address{};
        bool isConnected = false;
        std::shared_ptr<AlsaOutlet> outlet{};
        /// Of an endpoint of ours.
        std::optional<int> port{};
        std::string portName{};
    };
    struct Place {
        AlsaAddress address;
        bool isSource = false;
        auto operator<=>(const Place&) const = default;
    };
    /// What may be undone only when the thread works on it no more.
    struct Leftovers {
        std::vector<int> ports;
        std::vector<std::pair<AlsaAddress, bool>> connections;
        /// Destinations whose outlets nobody will empty any more.
        std::vector<MIDIEndpointRef> destinations;
    };

    void poll();
    void open();
    void close();
    void changed();

    void scan();
    void forgetTheGone(const std::vector<AlsaPortInfo>& ports, const AlsaChanges& changes);
    void forgetTheLongGone();
    void take(const AlsaPortInfo& port, bool isSource);
    void follow(MIDIEndpointRef reference, const AlsaPortInfo& port, const std::string& identity);
    void appear(const AlsaPortInfo& port, bool isSource, const std::string& identity);
    std::string freeKey(const std::string& identity) const;
    void leave(MIDIEndpointRef reference);
    std::function<bool(std::int32_t)> taken() const;

    void reconcile();
    void dropLinksOfTheGone(Leftovers& leftovers);
    void addMissingOutlet(MIDIEndpointRef reference, const Endpoint& endpoint, Link& link);
    void reconcileOwn(const Endpoint& endpoint, Link& link);
    void reconcileForeign(MIDIEndpointRef reference, const Endpoint& endpoint, Link& link, Leftovers& leftovers);
    bool publishGraph();
    void undo(const Leftovers& leftovers);

    const Options options;
    UniqueIDTable uniqueIDs;
    const std::shared_ptr<Bell> bell = std::make_shared<Bell>();
    const std::shared_ptr<AlsaLosses> losses = std::make_shared<AlsaLosses>();
    const AlsaSequencer::Opening opening;
    std::string reason;
    std::map<MIDIEndpointRef, Link> links;
    /// Endpoints of others by what they are known by, and those that are there by their place.
    std::map<std::string, MIDIEndpointRef> foreign;
    std::map<Place, MIDIEndpointRef> places;
    Leftovers kept;
    bool isConnectionRefused = false;
    std::unique_ptr<AlsaSequencer> sequencer;
    bool isReconciling = false;
    /// Lets what the sequencer's thread has posted see that the service is gone.
    std::shared_ptr<AlsaService*> self = std::make_shared<AlsaService*>(this);
    /// Asked for by the threads of the service behind it, which are gone before it is.
    MainThreadCall scanning{[this] { changed(); }};
    RepeatingTimer timer;
};

}  // namespace varnolex
