#include "cli/live/SendCommand.hpp"

#include <algorithm>

#include "cli/CommandFailure.hpp"
#include "cli/MusicInput.hpp"
#include "cli/live/EndpointChoice.hpp"
#include "cli/live/LiveSession.hpp"
#include "core/SoundingNotes.hpp"
#include "tools/endpoints/PacketCutter.hpp"

namespace varnolex {
namespace {

using namespace std::chrono_literals;

/// What is due within this time is handed to the service, which keeps each message until its moment: the service's
/// clock is exact, this thread's turns aren't.
constexpr HostTime lookAhead = ticksPerSecond / 10;
constexpr Nanoseconds step = 20ms;

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

    /// Ends the notes that sound, behind what the service still holds, and lets everything out.
    void finish() {
        timer.reset();
        const HostTime time = std::max(latest, Runtime::current().hostTime());
        if (session.isInterrupted()) notes.end([&](std::span<const std::uint8_t> noteOff) { send(noteOff, time); });
        session.runUntilDelivered();
    }

private:
    void sendWhatIsDue() {
        using packetlayout::longestPacket;
        const HostTime now = Runtime::current().hostTime();
        for (; next < input.packets().size(); ++next) {
            const MusicInput::Packet& packet = input.packets()[next];
            if (start + packet.time > now + lookAhead) return;
            const auto bytes = input.bytes(packet);
            for (PacketCutter messages(bytes); const auto message = messages.next();) notes.observe(*message);
            for (std::size_t begin = 0; begin < bytes.size(); begin += longestPacket)
                send(bytes.subspan(begin, std::min(longestPacket, bytes.size() - begin)), start + packet.time);
        }
        if (now > latest + lookAhead) session.end();
    }

    void send(std::span<const std::uint8_t> packet, HostTime time) {
        memory.resize(std::max(memory.size(), packet.size() + listOverhead));
        PacketListBuilder list(memory);
        list.add(time, packet);
        latest = std::max(latest, time);
        const MIDIStatus status = MIDIService::current().MIDISend(port, destination.endpointRef, list.list());
        if (status != midiSuccess)
            session.fail("\"" + destination.displayName + "\" took no more: the service says " +
                         std::to_string(status));
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
    SoundingNotes notes;
    std::vector<std::uint8_t> memory;
    RepeatingTimer timer;
};

}  // namespace

void runSend(const SendOptions& options) {
    const MusicInput input = MusicInput::read(options.input, MusicInput::LongPackets::accepted);
    LiveSession session(options.service);
    Sender sender(session, chooseDestination(session.endpoints().destinations(), options.endpoint), input);
    session.run();
    sender.finish();
}

}  // namespace varnolex
