#include "cli/live/SendCommand.hpp"

#include <algorithm>

#include "cli/CommandFailure.hpp"
#include "cli/MusicInput.hpp"
#include "cli/live/EndpointChoice.hpp"
#include "cli/live/LiveSession.hpp"
#include "core/SoundingChannels.hpp"
#include "endpoints/OutgoingLetter.hpp"
#include "tools/endpoints/PacketCutter.hpp"

namespace varnolex {
namespace {

using namespace std::chrono_literals;

/// What is due within this time is handed to the service, which keeps each message until its moment: the service's
/// clock is exact, this thread's turns aren't.
constexpr HostTime lookAhead = ticksPerSecond / 10;
constexpr Nanoseconds step = 20ms;

/// With the look-ahead this stays within what a service holds back for one destination, however dense the music is.
constexpr std::size_t packetsAStep = 512;

/// What a packet list needs beside the bytes of its one packet.
constexpr std::size_t listOverhead = packetlayout::countSize + packetlayout::headerSize;

class Sender {
public:
    Sender(LiveSession& liveSession, const MIDIDestinationInfo& chosen, const MusicInput& music)
        : session(liveSession), destination(chosen), input(music) {
        const auto status =
            MIDIService::current().MIDIOutputPortCreate(session.endpoints().clientRef(), "Varnolex Send", port);
        if (status != midiSuccess) throw CommandFailure("the MIDI service makes no output port");
        start = Runtime::current().hostTime() + lookAhead;
        session.endpoints().onEndpointsChanged = [this] { endIfGone(); };
        timer = Runtime::current().mainQueue().repeating(0, step, [this] { sendWhatIsDue(); });
    }

    ~Sender() { session.endpoints().onEndpointsChanged = nullptr; }
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;

    /// Plays to the end or until the user interrupts. Throws `CommandFailure` when the destination has gone or takes no
    /// more.
    void play() {
        try {
            session.run();
        } catch (const CommandFailure&) {
            finish(true);
            throw;
        }
        finish(session.isInterrupted());
    }

private:
    /// Ends what sounds, behind what the service still holds, and lets everything out.
    void finish(bool isCutShort) {
        timer.reset();
        const HostTime time = std::max(latest, Runtime::current().hostTime());
        if (isCutShort) sounding.end([&](std::span<const std::uint8_t> end) { giveWithPatience(end, time); });
        session.runUntilDelivered();
    }

    void sendWhatIsDue() {
        const HostTime now = Runtime::current().hostTime();
        for (std::size_t count = 0; next < input.packets().size(); ++next) {
            const MusicInput::Packet& packet = input.packets()[next];
            const HostTime time = start + packet.time;
            if (time > now + lookAhead || count++ == packetsAStep || !send(input.bytes(packet), time)) return;
        }
        if (now > latest + lookAhead) session.end();
    }

    /// False when the service has no room for all of it at the moment: the next call goes on where this one ended.
    bool send(std::span<const std::uint8_t> packet, HostTime time) {
        while (taken < packet.size()) {
            const auto piece = packet.subspan(taken, std::min(OutgoingLetter::longest, packet.size() - taken));
            const MIDIStatus status = give(piece, time);
            if (status == midiQueueFull) return false;
            if (status != midiSuccess)
                session.fail("\"" + destination.displayName + "\" took no more: the service says " +
                             std::to_string(status));
            taken += piece.size();
        }
        taken = 0;
        for (PacketCutter messages(packet); const auto message = messages.next();) sounding.observe(*message);
        return true;
    }

    void giveWithPatience(std::span<const std::uint8_t> message, HostTime time) {
        constexpr int attempts = 100;
        for (int attempt = 0; attempt < attempts && give(message, time) == midiQueueFull; ++attempt) session.run(step);
    }

    MIDIStatus give(std::span<const std::uint8_t> packet, HostTime time) {
        memory.resize(std::max(memory.size(), packet.size() + listOverhead));
        PacketListBuilder list(memory);
        list.add(time, packet);
        latest = std::max(latest, time);
        return MIDIService::current().MIDISend(port, destination.endpointRef, list.list());
    }

    void endIfGone() {
        const auto& there = session.endpoints().destinations();
        if (std::ranges::find(there, destination.endpointRef, &MIDIDestinationInfo::endpointRef) == there.end())
            session.fail("\"" + destination.displayName + "\" is gone");
    }

    LiveSession& session;
    const MIDIDestinationInfo destination;
    const MusicInput& input;
    MIDIPortRef port = 0;
    HostTime start = 0;
    HostTime latest = 0;
    std::size_t next = 0;
    /// How much of the next packet is sent.
    std::size_t taken = 0;
    SoundingChannels sounding;
    std::vector<std::uint8_t> memory;
    RepeatingTimer timer;
};

}  // namespace

void runSend(const SendOptions& options) {
    const BrokenPipesIgnored silentReaders;
    const MusicInput input = MusicInput::read(options.input, MusicInput::LongPackets::accepted);
    LiveSession session(options.service);
    Sender sender(session, chooseDestination(session.endpoints().destinations(), options.endpoint), input);
    sender.play();
}

}  // namespace varnolex
