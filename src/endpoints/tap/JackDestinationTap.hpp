#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "endpoints/UniqueIDTable.hpp"
#include "endpoints/jack/JackClient.hpp"
#include "endpoints/tap/DestinationTap.hpp"
#include "endpoints/tap/JackConnections.hpp"
#include "platform/MainThreadCall.hpp"
#include "platform/Runtime.hpp"

namespace varnolex {

/// Hears what is sent to input ports of a JACK server: for each one that is tapped it has a port of its own, "tap ...",
/// which it keeps connected to whatever the tapped one is connected to. Destinations are known by the unique IDs that
/// `JackService` gives them. It never starts a server; without one it looks for one once a second.
class JackDestinationTap final : public DestinationTap {
public:
    struct Options {
        std::string clientName = "Varnolex Tap";
        /// Empty for the server that JACK_DEFAULT_SERVER names, or the default one.
        std::string serverName{};
        /// The file of the service whose unique IDs are meant; empty for none.
        std::filesystem::path uniqueIDFile{};
    };

    explicit JackDestinationTap(Options chosen);
    ~JackDestinationTap() override;

    void setListener(Listener next) override { listener = std::move(next); }
    void start(std::int32_t uniqueID) override;
    void stop(std::int32_t uniqueID) override;

    bool isConnected() const { return client != nullptr; }

private:
    struct Tapped {
        /// "client:port" of the destination; empty while it isn't there.
        std::string destination{};
        std::shared_ptr<JackPort> port{};
    };

    void poll();
    void connect();
    void disconnect();
    void look();

    void readNames();
    bool followDestinations();
    void publishGraph();
    void followConnections();

    const Options options;
    Listener listener;
    UniqueIDTable uniqueIDs;
    std::shared_ptr<JackTiming> timing = std::make_shared<JackTiming>();
    std::shared_ptr<JackLosses> losses = std::make_shared<JackLosses>();
    /// By "client:port": every port that was ever seen.
    std::map<std::string, std::int32_t> knownIDs;
    /// The destinations that are there now, by unique ID.
    std::map<std::int32_t, std::string> present;
    std::map<std::int32_t, Tapped> tapped;
    std::unique_ptr<JackConnections> connections;
    std::unique_ptr<JackClient> client;
    /// Asked for by JACK's threads, which are gone before it is.
    MainThreadCall looking{[this] { look(); }};
    RepeatingTimer timer;
};

}  // namespace varnolex
