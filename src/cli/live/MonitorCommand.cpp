#include "cli/live/MonitorCommand.hpp"

#include <algorithm>
#include <limits>
#include <map>
#include <set>

#include "app/GatewayConnections.hpp"
#include "cli/CommandFailure.hpp"
#include "cli/Streams.hpp"
#include "cli/live/EndpointChoice.hpp"
#include "cli/live/LiveSession.hpp"
#include "core/MIDIMessageFilter.hpp"
#include "core/text/MessageDescription.hpp"
#include "endpoints/interceptor/DriverInstallation.hpp"
#include "platform/DefaultsStore.hpp"
#include "platform/VarnolexLogger.hpp"
#include "platform/ports/SocketMessagePorts.hpp"

namespace varnolex {
namespace {

using namespace std::chrono_literals;

MessageTypeMask kindsIn(const std::vector<std::string>& keys) {
    if (keys.empty()) return MessageTypeMask::all;
    MessageTypeMask mask;
    for (const std::string& key : keys) {
        MessageTypeMask found;
        std::string known;
        for (std::uint32_t bit = 1; bit <= MessageTypeMask::invalid.rawValue; bit <<= 1) {
            const MessageTypeMask kind(bit);
            if (kind.key() == key) found = kind;
            known += (known.empty() ? "" : ", ") + std::string(kind.key());
        }
        if (found.isEmpty()) throw UsageError("there is no kind \"" + key + "\"; there are " + known);
        mask.insert(found);
    }
    return mask;
}

std::uint16_t channelsIn(const std::vector<int>& channels) {
    if (channels.empty()) return 0xFFFF;
    unsigned mask = 0;
    for (const int channel : channels) mask |= 1u << (channel - 1);
    return static_cast<std::uint16_t>(mask);
}

/// How much an endpoint has said.
struct Count {
    std::uint64_t all = 0;
    std::uint64_t thisSecond = 0;
    std::uint64_t mostInASecond = 0;
};

class Monitor {
public:
    Monitor(LiveSession& liveSession, const MonitorOptions& chosen)
        : session(liveSession), options(chosen), start(Runtime::current().hostTime()) {
        filter.setFilterMask(kindsIn(options.kinds));
        filter.setChannelMask(channelsIn(options.channels));
        for (const std::string& word : options.endpoints) allow(word);
        const auto show = [this](const MessageList& messages) { print(messages); };
        gateway.subscribeToSources("monitor", show);
        gateway.subscribeToListeners("monitor", show);
        gateway.start(session.endpoints().clientRef(), &messagePorts);
        session.endpoints().onEndpointsChanged = [this] { connections.endpointsDidChange(); };
        connections.syncGatewayConnections();
        second = Runtime::current().mainQueue().repeating(start + ticksPerSecond, 1s, [this] { closeSecond(); });
    }

    ~Monitor() { session.endpoints().onEndpointsChanged = nullptr; }
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;

    /// What has come in since the last drains arrives with the next ones.
    void finish() {
        end = Runtime::current().hostTime();
        session.run(PortInputStream::drainInterval + MIDIInterceptor::flushInterval);
    }

    void tellCounts() {
        closeSecond();
        const double seconds = static_cast<double>(end - start) / ticksPerSecond;
        for (const auto& [name, count] : counts)
            std::fprintf(stderr, "%s: %llu messages, %.1f a second, %llu at most\n", name.c_str(),
                         static_cast<unsigned long long>(count.all), static_cast<double>(count.all) / seconds,
                         static_cast<unsigned long long>(count.mostInASecond));
    }

private:
    /// A word may mean a source, a destination, or one of each.
    void allow(const std::string& word) {
        const MIDISourceInfo* const source = findSource(session.endpoints().sources(), word);
        const MIDIDestinationInfo* const destination = findDestination(session.endpoints().destinations(), word);
        if (source) allowed.insert(source->displayName);
        // What goes to a destination is shown under its name with an arrow behind.
        if (destination) allowed.insert(destination->displayName + " →");
        if (!source && !destination) allowed.insert(chooseSource(session.endpoints().sources(), word).displayName);
    }

    void print(const MessageList& messages) {
        text.clear();
        for (const MessageRef& message : messages) {
            const std::string name(message->originatingEndpointName.view());
            if (!allowed.empty() && !allowed.contains(name)) continue;
            if (!filter.passes(*message, std::nullopt, std::nullopt)) continue;
            if (message->timeStamp > end) continue;
            Count& count = counts[name];
            ++count.all;
            ++count.thisSecond;
            const HostTime time = message->timeStamp > start ? message->timeStamp - start : 0;
            options.json ? appendMessageJSON(text, *message, time) : appendMessageText(text, *message, time);
        }
        if (text.empty()) return;
        try {
            writeOutput("-", text);
        } catch (const CommandFailure& failure) {
            session.fail(failure.what());
        }
    }

    void closeSecond() {
        for (auto& [name, count] : counts) {
            count.mostInASecond = std::max(count.mostInASecond, count.thisSecond);
            if (options.rates && count.thisSecond > 0)
                std::fprintf(stderr, "%s: %llu a second%s\n", name.c_str(),
                             static_cast<unsigned long long>(count.thisSecond),
                             gateway.floodControl().floodingEndpoints().contains(SharedName(name))
                                 ? " shown; it floods, and one message of a batch is shown"
                                 : "");
            count.thisSecond = 0;
        }
    }

    LiveSession& session;
    const MonitorOptions& options;
    const HostTime start;
    HostTime end = std::numeric_limits<HostTime>::max();
    MIDIMessageFilter filter;
    /// Names of endpoints; empty for all.
    std::set<std::string> allowed;
    SocketMessagePorts messagePorts;
    MIDIGateway gateway;
    DefaultsStore noDefaults{{}};
    VirtualPortManager noPorts{noDefaults};
    GatewayConnections connections{session.endpoints(), gateway, noPorts};
    std::map<std::string, Count> counts;
    std::string text;
    RepeatingTimer second;
};

}  // namespace

void runMonitor(const MonitorOptions& options) {
    kindsIn(options.kinds);
    const auto fault = ensureDriverInstalled();
    LiveSession session(options.service);
    session.tellIfAlone();
    // Without a driver there is less to see, and no reason to see nothing.
    if (fault) VarnolexLogger::shared().log(*fault);
    Monitor monitor(session, options);
    session.run(durationOf(options.seconds));
    monitor.finish();
    monitor.tellCounts();
}

}  // namespace varnolex
