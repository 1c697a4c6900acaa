#include "endpoints/MIDIGateway.hpp"

#include <utility>
#include <vector>

#include "platform/VarnolexLogger.hpp"

namespace varnolex {

MIDIGateway::MIDIGateway() = default;

MIDIGateway::~MIDIGateway() = default;

MIDIGateway& MIDIGateway::shared() {
    static MIDIGateway gateway;
    return gateway;
}

void MIDIGateway::start(MIDIClientRef midiClient, MessagePorts* messagePorts) {
    assertMainThread();
    if (std::exchange(started, true)) return;
    flood.reset();
    VarnolexLogger::shared().log("[MIDIGateway] started");
    stream = std::make_unique<PortInputStream>(midiClient);
    stream->messageHandler = [this](const MessageList& messages) { dispatchSourceMessages(messages); };
    stream->start();
    if (!messagePorts) return;
    listener = std::make_unique<MIDIInterceptor>(*messagePorts);
    listener->onMessages = [this](const MessageList& messages) { dispatchListenerMessages(messages); };
    listener->start();
}

void MIDIGateway::stop() {
    assertMainThread();
    stream.reset();
    listener.reset();
    started = false;
}

void MIDIGateway::connectSource(const MIDISourceInfo& source) {
    if (stream) stream->connect(source);
}

void MIDIGateway::subscribeToSources(const std::string& key, Handler handler) {
    sourceSubscribers[key] = std::make_shared<const Handler>(std::move(handler));
}

void MIDIGateway::subscribeToListeners(const std::string& key, Handler handler) {
    listenerSubscribers[key] = std::make_shared<const Handler>(std::move(handler));
}

void MIDIGateway::dispatch(const MessageList& messages, const Subscribers& subscribers) {
    assertMainThread();
    MessageList room;
    const MessageList& passed = flood.filter(messages, room);
    if (passed.empty()) return;
    std::vector<Subscription> served;
    served.reserve(subscribers.size());
    for (const auto& [key, subscription] : subscribers) served.push_back(subscription);
    for (const Subscription& each : served) (*each)(passed);
}

}  // namespace varnolex
