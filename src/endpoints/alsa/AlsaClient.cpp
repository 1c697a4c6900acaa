#include "endpoints/alsa/AlsaClient.hpp"

#include <alsa/asoundlib.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <system_error>

#include "endpoints/alsa/AlsaDirectory.hpp"
#include "endpoints/alsa/AlsaPortSink.hpp"
#include "endpoints/alsa/AlsaRecord.hpp"
#include "platform/Runtime.hpp"

namespace varnolex {

namespace {

/// The most that the sequencer gives a client.
constexpr std::size_t inputCells = 2000;
/// Holds all of them.
constexpr std::size_t inputBufferSize = 128 * 1024;
constexpr std::size_t listCapacity = 64 * 1024;
constexpr std::size_t longestPacket = 32'000;
/// What is to leave doesn't wait for more than this.
constexpr int eventsAtATime = 64;
constexpr HostTime reclaimPatience = 20'000'000;

constexpr unsigned ourSource = SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ;
constexpr unsigned ourDestination = SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE;

void discardText(const char*, int, const char*, int, const char*, ...) {}

std::string sentenceFor(int error) {
    if (error == ENOENT || error == ENODEV || error == ENXIO)
        return "There is no ALSA sequencer: /dev/snd/seq is missing, so the kernel's module snd-seq isn't loaded.";
    if (error == EACCES || error == EPERM)
        return "The ALSA sequencer can't be opened: this user may not use /dev/snd/seq (the group \"audio\" may).";
    return std::string("The ALSA sequencer can't be opened: ") + std::generic_category().message(error) + ".";
}

}  // namespace

std::unique_ptr<AlsaSequencer> AlsaClient::open(const std::string& clientName, std::shared_ptr<Bell> sharedBell,
                                                std::shared_ptr<AlsaLosses> sharedLosses, Calls sequencerCalls,
                                                std::string& reason) {
    snd_lib_error_set_handler(discardText);
    snd_seq_t* opened = nullptr;
    if (const int result = snd_seq_open(&opened, "default", SND_SEQ_OPEN_DUPLEX, SND_SEQ_NONBLOCK); result < 0) {
        reason = sentenceFor(-result);
        return nullptr;
    }
    std::unique_ptr<AlsaClient> made(
        new AlsaClient(opened, std::move(sharedBell), std::move(sharedLosses), std::move(sequencerCalls)));
    if (!made->prepare(clientName)) {
        reason = "The ALSA sequencer has no port left for this program.";
        return nullptr;
    }
    made->startThread();
    return made;
}

AlsaClient::AlsaClient(_snd_seq* opened, std::shared_ptr<Bell> sharedBell, std::shared_ptr<AlsaLosses> sharedLosses,
                       Calls sequencerCalls)
    : sequencer(opened),
      bell(std::move(sharedBell)),
      losses(std::move(sharedLosses)),
      on(std::move(sequencerCalls)),
      clock(std::make_unique<AlsaClock>(opened)),
      listMemory(listCapacity),
      list(listMemory) {
    graph.publish(std::make_unique<AlsaGraph>());
}

AlsaClient::~AlsaClient() {
    thread.reset();
    clock.reset();
    snd_seq_close(sequencer);
}

bool AlsaClient::prepare(const std::string& clientName) {
    ownClient = snd_seq_client_id(sequencer);
    snd_seq_set_client_name(sequencer, clientName.c_str());
    snd_seq_set_input_buffer_size(sequencer, inputBufferSize);
    snd_seq_set_client_pool_input(sequencer, inputCells);
    inPort = addPort("in", SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_NO_EXPORT);
    outPort = addPort("out", SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_NO_EXPORT);
    if (inPort < 0 || outPort < 0) return false;
    return snd_seq_connect_from(sequencer, inPort, SND_SEQ_CLIENT_SYSTEM, SND_SEQ_PORT_SYSTEM_ANNOUNCE) >= 0;
}

void AlsaClient::startThread() {
    pollfd source{};
    snd_seq_poll_descriptors(sequencer, &source, 1, POLLIN);
    descriptor = source.fd;
    thread = std::make_unique<DescriptorThread>(
        "varnolex-alsa", descriptor, bell,
        DescriptorThread::Calls{[this] { return receive(); }, [this] { return drain(); }});
}

int AlsaClient::addPort(const std::string& name, unsigned capabilities) const {
    const auto port = makeAlsaRecord(snd_seq_port_info_malloc, snd_seq_port_info_free);
    snd_seq_port_info_set_name(port.get(), name.c_str());
    snd_seq_port_info_set_capability(port.get(), capabilities);
    snd_seq_port_info_set_type(port.get(), SND_SEQ_PORT_TYPE_MIDI_GENERIC | SND_SEQ_PORT_TYPE_APPLICATION);
    snd_seq_port_info_set_midi_channels(port.get(), 16);
    if (clock->queue() >= 0 && (capabilities & SND_SEQ_PORT_CAP_WRITE)) {
        snd_seq_port_info_set_timestamping(port.get(), 1);
        snd_seq_port_info_set_timestamp_real(port.get(), 1);
        snd_seq_port_info_set_timestamp_queue(port.get(), clock->queue());
    }
    const int result = snd_seq_create_port(sequencer, port.get());
    return result < 0 ? result : snd_seq_port_info_get_port(port.get());
}

std::optional<int> AlsaClient::makePort(const std::string& name, bool isSource) {
    const int port = addPort(name.empty() ? "MIDI" : name, isSource ? ourSource : ourDestination);
    return port < 0 ? std::nullopt : std::optional(port);
}

void AlsaClient::renamePort(int port, const std::string& name) {
    const auto info = makeAlsaRecord(snd_seq_port_info_malloc, snd_seq_port_info_free);
    if (snd_seq_get_port_info(sequencer, port, info.get()) < 0) return;
    snd_seq_port_info_set_name(info.get(), name.c_str());
    snd_seq_set_port_info(sequencer, port, info.get());
}

void AlsaClient::removePort(int port) { snd_seq_delete_port(sequencer, port); }

std::vector<std::uint8_t> AlsaClient::listeners(int port) const {
    return alsaListeners(sequencer, {static_cast<std::uint8_t>(ownClient), static_cast<std::uint8_t>(port)});
}

std::vector<std::uint8_t> AlsaClient::receivers(AlsaAddress destination) const {
    auto clients = alsaPassesOn(sequencer, destination.client) ? alsaListeners(sequencer, destination)
                                                               : std::vector<std::uint8_t>();
    clients.push_back(destination.client);
    return clients;
}

std::vector<AlsaPortInfo> AlsaClient::foreignPorts() const { return alsaForeignPorts(sequencer); }

AlsaChanges AlsaClient::takeChanges() {
    AlsaChanges changes{{}, hasMissedNews.exchange(false)};
    AlsaAddress address;
    while (arrivals.take(address)) changes.arrivals.push_back(address);
    const std::uint64_t lost = arrivals.lostLetters();
    changes.isIncomplete = changes.isIncomplete || lost != knownLostArrivals;
    knownLostArrivals = lost;
    return changes;
}

bool AlsaClient::connect(AlsaAddress foreign, bool isSource) {
    const int result = isSource ? snd_seq_connect_from(sequencer, inPort, foreign.client, foreign.port)
                                : snd_seq_connect_to(sequencer, outPort, foreign.client, foreign.port);
    // Busy is also what a connection is that is there already.
    return result >= 0 || (result == -EBUSY && isConnected(foreign, isSource));
}

bool AlsaClient::isConnected(AlsaAddress foreign, bool isSource) const {
    const auto subscription = makeAlsaRecord(snd_seq_port_subscribe_malloc, snd_seq_port_subscribe_free);
    const snd_seq_addr_t own{static_cast<unsigned char>(ownClient),
                             static_cast<unsigned char>(isSource ? inPort : outPort)};
    const snd_seq_addr_t other{foreign.client, foreign.port};
    snd_seq_port_subscribe_set_sender(subscription.get(), isSource ? &other : &own);
    snd_seq_port_subscribe_set_dest(subscription.get(), isSource ? &own : &other);
    return snd_seq_get_port_subscription(sequencer, subscription.get()) >= 0;
}

void AlsaClient::disconnect(AlsaAddress foreign, bool isSource) {
    if (isSource)
        snd_seq_disconnect_from(sequencer, inPort, foreign.client, foreign.port);
    else
        snd_seq_disconnect_to(sequencer, outPort, foreign.client, foreign.port);
}

bool AlsaClient::setGraph(std::unique_ptr<const AlsaGraph> next) {
    graph.publish(std::move(next));
    const HostTime start = Runtime::current().hostTime();
    bool isReclaimed = graph.reclaim();
    while (!isReclaimed && Runtime::current().hostTime() - start < reclaimPatience) isReclaimed = graph.reclaim();
    // There may be something for those who are new in it.
    bell->ring();
    return isReclaimed;
}

bool AlsaClient::receive() {
    for (bool isMore = true; isMore;) {
        clock->read();
        isMore = graph.read([this](const AlsaGraph* now) { return receiveSome(*now); });
        if (isMore) drain();
    }
    return !isGone.get();
}

/// False when there is nothing left.
bool AlsaClient::receiveSome(const AlsaGraph& now) {
    bool isMore = true;
    for (int count = 0; isMore && count < eventsAtATime; ++count) {
        snd_seq_event_t* event = nullptr;
        const int result = snd_seq_event_input(sequencer, &event);
        if (result == -ENOSPC) {
            losses->overruns.add(1);
            hasMissedNews.set(true);
            on.changed();
        } else if (result < 0) {
            isMore = false;
            if (result == -EAGAIN || result == -EINTR) continue;
            isGone.set(true);
            on.changed();
        } else if (event->dest.port != inPort) {
            if (const auto found = now.destinations.find(event->dest.port); found != now.destinations.end())
                add(found->second, *event);
        } else if (event->source.client == SND_SEQ_CLIENT_SYSTEM) {
            note(*event);
        } else if (const auto found = now.sources.find({event->source.client, event->source.port});
                   found != now.sources.end()) {
            add(found->second, *event);
        }
    }
    flush();
    return isMore;
}

void AlsaClient::note(const snd_seq_event& event) {
    const AlsaNews news = newsOf(event);
    if (news.kind == AlsaNews::Kind::none) return;
    if (news.kind == AlsaNews::Kind::appeared && news.address.client == ownClient) return;
    if (news.kind == AlsaNews::Kind::appeared) arrivals.post(AlsaAddress(news.address));
    on.changed();
}

void AlsaClient::add(const AlsaGraph::Inlet& inlet, const snd_seq_event& event) {
    if (inlet.endpoint != listInlet.endpoint) flush();
    listInlet = inlet;
    const HostTime time = clock->stampOf(event);
    auto bytes = codec.decode(event);
    if (event.type == SND_SEQ_EVENT_NOTE && bytes.size() > 3) {
        addPacket(time, bytes.first(3));
        addPacket(time + HostTime{event.data.note.duration} * 1'000'000, bytes.subspan(3));
        return;
    }
    for (; !bytes.empty(); bytes = bytes.subspan(std::min(bytes.size(), longestPacket)))
        addPacket(time, bytes.first(std::min(bytes.size(), longestPacket)));
}

void AlsaClient::addPacket(HostTime time, std::span<const std::uint8_t> bytes) {
    if (list.add(time, bytes)) return;
    flush();
    list.add(time, bytes);
}

void AlsaClient::flush() {
    if (list.count() > 0) on.received(listInlet, list.list());
    list.clear();
}

HostTime AlsaClient::drain() {
    return graph.read([this](const AlsaGraph* now) {
        HostTime next = DescriptorThread::never;
        const HostTime time = Runtime::current().hostTime();
        for (const AlsaGraph::Outlet& each : now->outlets) {
            AlsaPortSink sink({sequencer, descriptor, outPort, codec}, each);
            next = std::min(next, each.outlet->drain(time, sink));
        }
        return next;
    });
}

}  // namespace varnolex
