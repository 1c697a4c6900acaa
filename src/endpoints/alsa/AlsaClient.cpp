#include "endpoints/alsa/AlsaClient.hpp"

#include <alsa/asoundlib.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <system_error>

#include "endpoints/alsa/AlsaRoom.hpp"
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
/// The queue's own steps; the time between them is told exactly however long they are.
constexpr unsigned queueStepsPerSecond = 20;
/// A reading of both clocks that took longer than this is disturbed.
constexpr HostTime undisturbed = 50'000;
constexpr HostTime reclaimPatience = 20'000'000;

constexpr unsigned ourSource = SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ;
constexpr unsigned ourDestination = SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE;

void discardText(const char*, int, const char*, int, const char*, ...) {}

/// Memory of one of the library's records.
template <class Record>
using Held = std::unique_ptr<Record, void (*)(Record*)>;

template <class Record>
Held<Record> make(int (*allocate)(Record**), void (*free)(Record*)) {
    Record* made = nullptr;
    if (allocate(&made) < 0) throw std::bad_alloc();
    return {made, free};
}

std::string sentenceFor(int error) {
    if (error == ENOENT || error == ENODEV || error == ENXIO)
        return "There is no ALSA sequencer: /dev/snd/seq is missing, so the kernel's module snd-seq isn't loaded.";
    if (error == EACCES || error == EPERM)
        return "The ALSA sequencer can't be opened: this user may not use /dev/snd/seq (the group \"audio\" may).";
    return std::string("The ALSA sequencer can't be opened: ") + std::generic_category().message(error) + ".";
}

std::string takeText(char* text) {
    const std::unique_ptr<char, void (*)(void*)> hold(text, std::free);
    return text ? text : "";
}

void describeCard(int card, AlsaPortInfo& port) {
    char* name = nullptr;
    if (snd_card_get_name(card, &name) < 0) return;
    port.cardName = takeText(name);
    snd_ctl_t* control = nullptr;
    if (snd_ctl_open(&control, ("hw:" + std::to_string(card)).c_str(), SND_CTL_READONLY | SND_CTL_NONBLOCK) < 0) return;
    const auto info = make(snd_ctl_card_info_malloc, snd_ctl_card_info_free);
    if (snd_ctl_card_info(control, info.get()) >= 0) port.cardDriver = snd_ctl_card_info_get_driver(info.get());
    snd_ctl_close(control);
}

bool allows(unsigned capabilities, unsigned wanted) { return (capabilities & wanted) == wanted; }

}  // namespace

/// The way to the receivers of one outlet, for one round.
class AlsaClient::PortSink final : public AlsaSink {
public:
    PortSink(AlsaClient& ownClient, const AlsaGraph::Outlet& servedOutlet) : client(ownClient), outlet(servedOutlet) {}

    Outcome write(std::span<const std::uint8_t> message) override {
        snd_seq_event_t event;
        if (!client.codec.encode(message, event)) return Outcome::refused;
        const bool isSysEx = snd_seq_ev_is_variable(&event);
        const int cells = alsaCellsFor(isSysEx ? message.size() : 0);
        if (!hasRoom(cells, isSysEx)) return Outcome::later;
        if (outlet.destination) {
            snd_seq_ev_set_source(&event, client.outPort);
            snd_seq_ev_set_dest(&event, outlet.destination->client, outlet.destination->port);
        } else {
            snd_seq_ev_set_source(&event, outlet.port);
            snd_seq_ev_set_subs(&event);
        }
        const int result = snd_seq_event_output_direct(client.sequencer, &event);
        if (result >= 0) {
            room.free -= cells;
            return Outcome::taken;
        }
        // A driver whose device hasn't sent yet what it has.
        const bool isDriver = outlet.destination && room.free > mostCells;
        return result == -ENOMEM && isDriver ? Outcome::later : Outcome::refused;
    }

private:
    static constexpr int unlimited = std::numeric_limits<int>::max();
    static constexpr int mostCells = unlimited / 2;

    /// SysEx leaves a quarter to the messages of others.
    bool hasRoom(int cells, bool isSysEx) {
        const auto isEnough = [&] { return room.free >= cells + (isSysEx ? room.all / 4 : 0); };
        if (isEnough()) return true;
        askForRoom();
        return isEnough();
    }

    /// The least of all receivers.
    void askForRoom() {
        room = {unlimited, 0};
        for (const std::uint8_t receiver : outlet.receivers)
            if (const auto told = alsaRoomOf(client.descriptor, receiver); told && told->free < room.free) room = *told;
    }

    AlsaClient& client;
    const AlsaGraph::Outlet& outlet;
    AlsaRoom room{-1, 0};
};

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
      listMemory(listCapacity),
      list(listMemory) {
    graph.publish(std::make_unique<AlsaGraph>());
}

AlsaClient::~AlsaClient() {
    thread.reset();
    if (queue >= 0) snd_seq_free_queue(sequencer, queue);
    snd_seq_close(sequencer);
}

bool AlsaClient::prepare(const std::string& clientName) {
    ownClient = snd_seq_client_id(sequencer);
    snd_seq_set_client_name(sequencer, clientName.c_str());
    snd_seq_set_input_buffer_size(sequencer, inputBufferSize);
    snd_seq_set_client_pool_input(sequencer, inputCells);
    startQueue();
    inPort = addPort("in", SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_NO_EXPORT);
    outPort = addPort("out", SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_NO_EXPORT);
    if (inPort < 0 || outPort < 0) return false;
    return snd_seq_connect_from(sequencer, inPort, SND_SEQ_CLIENT_SYSTEM, SND_SEQ_PORT_SYSTEM_ANNOUNCE) >= 0;
}

void AlsaClient::startQueue() {
    queue = snd_seq_alloc_named_queue(sequencer, "Varnolex");
    if (queue < 0) return;
    const auto timer = make(snd_seq_queue_timer_malloc, snd_seq_queue_timer_free);
    if (snd_seq_get_queue_timer(sequencer, queue, timer.get()) >= 0) {
        snd_seq_queue_timer_set_resolution(timer.get(), queueStepsPerSecond);
        snd_seq_set_queue_timer(sequencer, queue, timer.get());
    }
    snd_seq_start_queue(sequencer, queue, nullptr);
    snd_seq_drain_output(sequencer);
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
    const auto port = make(snd_seq_port_info_malloc, snd_seq_port_info_free);
    snd_seq_port_info_set_name(port.get(), name.c_str());
    snd_seq_port_info_set_capability(port.get(), capabilities);
    snd_seq_port_info_set_type(port.get(), SND_SEQ_PORT_TYPE_MIDI_GENERIC | SND_SEQ_PORT_TYPE_APPLICATION);
    snd_seq_port_info_set_midi_channels(port.get(), 16);
    if (queue >= 0 && allows(capabilities, SND_SEQ_PORT_CAP_WRITE)) {
        snd_seq_port_info_set_timestamping(port.get(), 1);
        snd_seq_port_info_set_timestamp_real(port.get(), 1);
        snd_seq_port_info_set_timestamp_queue(port.get(), queue);
    }
    const int result = snd_seq_create_port(sequencer, port.get());
    return result < 0 ? result : snd_seq_port_info_get_port(port.get());
}

std::optional<int> AlsaClient::makePort(const std::string& name, bool isSource) {
    const int port = addPort(name.empty() ? "MIDI" : name, isSource ? ourSource : ourDestination);
    return port < 0 ? std::nullopt : std::optional(port);
}

void AlsaClient::renamePort(int port, const std::string& name) {
    const auto info = make(snd_seq_port_info_malloc, snd_seq_port_info_free);
    if (snd_seq_get_port_info(sequencer, port, info.get()) < 0) return;
    snd_seq_port_info_set_name(info.get(), name.c_str());
    snd_seq_set_port_info(sequencer, port, info.get());
}

void AlsaClient::removePort(int port) { snd_seq_delete_port(sequencer, port); }

std::vector<std::uint8_t> AlsaClient::listeners(int port) const {
    std::vector<std::uint8_t> clients;
    const auto query = make(snd_seq_query_subscribe_malloc, snd_seq_query_subscribe_free);
    const snd_seq_addr_t root{static_cast<unsigned char>(ownClient), static_cast<unsigned char>(port)};
    snd_seq_query_subscribe_set_root(query.get(), &root);
    snd_seq_query_subscribe_set_type(query.get(), SND_SEQ_QUERY_SUBS_READ);
    for (int index = 0; index <= std::numeric_limits<std::uint8_t>::max(); ++index) {
        snd_seq_query_subscribe_set_index(query.get(), index);
        if (snd_seq_query_port_subscribers(sequencer, query.get()) < 0) break;
        clients.push_back(snd_seq_query_subscribe_get_addr(query.get())->client);
    }
    return clients;
}

std::vector<AlsaPortInfo> AlsaClient::foreignPorts() const {
    std::vector<AlsaPortInfo> found;
    const auto client = make(snd_seq_client_info_malloc, snd_seq_client_info_free);
    const auto port = make(snd_seq_port_info_malloc, snd_seq_port_info_free);
    snd_seq_client_info_set_client(client.get(), -1);
    while (snd_seq_query_next_client(sequencer, client.get()) >= 0) {
        const int number = snd_seq_client_info_get_client(client.get());
        if (number == ownClient || number == SND_SEQ_CLIENT_SYSTEM) continue;
        AlsaPortInfo told{.address = {static_cast<std::uint8_t>(number), 0},
                          .clientName = snd_seq_client_info_get_name(client.get()),
                          .processID = snd_seq_client_info_get_pid(client.get())};
        const int card = snd_seq_client_info_get_card(client.get());
        if (card >= 0 && snd_seq_client_info_get_type(client.get()) == SND_SEQ_KERNEL_CLIENT) describeCard(card, told);
        snd_seq_port_info_set_client(port.get(), number);
        snd_seq_port_info_set_port(port.get(), -1);
        while (snd_seq_query_next_port(sequencer, port.get()) >= 0) {
            const unsigned capabilities = snd_seq_port_info_get_capability(port.get());
            if (capabilities & SND_SEQ_PORT_CAP_NO_EXPORT) continue;
            told.address.port = static_cast<std::uint8_t>(snd_seq_port_info_get_port(port.get()));
            told.portName = snd_seq_port_info_get_name(port.get());
            told.isSource = allows(capabilities, ourSource);
            told.isDestination = allows(capabilities, ourDestination);
            if (told.isSource || told.isDestination) found.push_back(told);
        }
    }
    return found;
}

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
    const auto subscription = make(snd_seq_port_subscribe_malloc, snd_seq_port_subscribe_free);
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
        pairClocks();
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
    const HostTime time = stampOf(event);
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

void AlsaClient::pairClocks() {
    const HostTime before = Runtime::current().hostTime();
    readingTime = before;
    if (queue < 0) return;
    alignas(std::max_align_t) std::array<std::byte, 256> memory{};
    auto* const status = reinterpret_cast<snd_seq_queue_status_t*>(memory.data());
    if (snd_seq_queue_status_sizeof() > memory.size() || snd_seq_get_queue_status(sequencer, queue, status) < 0) return;
    const HostTime after = Runtime::current().hostTime();
    readingTime = after;
    if (isPaired && after - before > undisturbed) return;
    const snd_seq_real_time_t* const time = snd_seq_queue_status_get_real_time(status);
    const HostTime queueTime = HostTime{time->tv_sec} * ticksPerSecond + time->tv_nsec;
    clockDistance = static_cast<std::int64_t>(before + (after - before) / 2 - queueTime);
    isPaired = true;
}

/// Never in the future, and never before the event that came before.
HostTime AlsaClient::stampOf(const snd_seq_event& event) {
    HostTime stamp = readingTime;
    if (isPaired && event.queue == queue && snd_seq_ev_is_real(&event)) {
        const snd_seq_real_time_t& time = event.time.time;
        const HostTime queueTime = HostTime{time.tv_sec} * ticksPerSecond + time.tv_nsec;
        stamp = std::min(stamp, queueTime + static_cast<HostTime>(clockDistance));
    }
    lastStamp = std::max(lastStamp, stamp);
    return lastStamp;
}

HostTime AlsaClient::drain() {
    return graph.read([this](const AlsaGraph* now) {
        HostTime next = DescriptorThread::never;
        const HostTime time = Runtime::current().hostTime();
        for (const AlsaGraph::Outlet& each : now->outlets) {
            PortSink sink(*this, each);
            next = std::min(next, each.outlet->drain(time, sink));
        }
        return next;
    });
}

}  // namespace varnolex
