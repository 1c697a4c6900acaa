#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "endpoints/FloodFilter.hpp"
#include "endpoints/input/PortInputStream.hpp"
#include "endpoints/interceptor/MIDIInterceptor.hpp"

namespace varnolex {

/// The hub between the inputs and everyone who watches traffic: hands batches of typed messages to its subscribers,
/// with floods cut down. Main thread.
class MIDIGateway {
public:
    /// Gets what passed of a batch, never an empty list; valid during the call. The order in which subscribers are
    /// served isn't defined.
    using Handler = std::function<void(const MessageList&)>;

    MIDIGateway();
    ~MIDIGateway();
    MIDIGateway(const MIDIGateway&) = delete;
    MIDIGateway& operator=(const MIDIGateway&) = delete;

    /// The one of this process.
    static MIDIGateway& shared();

    /// Opens the inputs for this client of the MIDI service, and the interceptor when there are message ports over
    /// which its driver may answer. Nothing when it was started. `messagePorts` must outlive the gateway's running.
    void start(MIDIClientRef midiClient, MessagePorts* messagePorts = nullptr);

    /// Closes the inputs: at the end of the session. Subscribers stay, and it may be started again.
    void stop();

    bool isStarted() const { return started; }

    /// Listens to a source from now on. Nothing before `start`.
    void connectSource(const MIDISourceInfo& source);

    /// What comes from sources.
    void subscribeToSources(const std::string& key, Handler handler);
    void unsubscribeFromSources(const std::string& key) { sourceSubscribers.erase(key); }

    /// What goes to destinations, and what leaves a graph.
    void subscribeToListeners(const std::string& key, Handler handler);
    void unsubscribeFromListeners(const std::string& key) { listenerSubscribers.erase(key); }

    void dispatchSourceMessages(const MessageList& messages) { dispatch(messages, sourceSubscribers); }
    void dispatchListenerMessages(const MessageList& messages) { dispatch(messages, listenerSubscribers); }

    /// Who floods, and who was muted.
    FloodFilter& floodControl() { return flood; }

    /// Null before `start`.
    PortInputStream* portInputStream() { return stream.get(); }
    /// Null before `start`, and without message ports.
    MIDIInterceptor* interceptor() { return listener.get(); }

private:
    /// Shared, so that a handler that subscribes or unsubscribes doesn't end one that runs.
    using Subscription = std::shared_ptr<const Handler>;
    using Subscribers = std::map<std::string, Subscription>;

    void dispatch(const MessageList& messages, const Subscribers& subscribers);

    bool started = false;
    FloodFilter flood;
    Subscribers sourceSubscribers;
    Subscribers listenerSubscribers;
    std::unique_ptr<PortInputStream> stream;
    std::unique_ptr<MIDIInterceptor> listener;
};

}  // namespace varnolex
