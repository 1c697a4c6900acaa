#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "endpoints/EndpointRouting.hpp"
#include "endpoints/OutgoingMail.hpp"
#include "platform/Bell.hpp"

namespace varnolex {

/// One receiver, or all that are connected to a source of ours, as an outlet writes to it. The service's thread.
class AlsaSink {
public:
    enum class Outcome : std::uint8_t {
        taken,
        /// There is no room just now.
        later,
        refused
    };

    virtual ~AlsaSink() = default;
    /// A whole message that isn't SysEx, or a piece of a SysEx of at most `AlsaOutlet::longestPiece` bytes.
    virtual Outcome write(std::span<const std::uint8_t> message) = 0;
};

/// What can't be delivered, of all ports of the service.
struct AlsaLosses {
    /// Packets or parts of packets that found no place, that are no MIDI message, or whose receiver refused them or
    /// has gone.
    SharedValue<std::uint64_t> packets{0};
    /// How often the sequencer threw away what had come for us because it wasn't read in time.
    SharedValue<std::uint64_t> overruns{0};
};

/// The way out to one destination of the sequencer, or to those who hear a source of ours. Any thread sends; the
/// service's thread drains.
///
/// What is sent without looking ahead leaves at once, in the order of its sending; what lies ahead leaves at its time,
/// in one order with the rest. The sequencer's own scheduler isn't asked: it would put what is sent directly before
/// what is due in the same millisecond, and a note's end before its start. Real-time bytes wait for nobody.
///
/// SysEx goes out in pieces of at most 256 bytes as the receiver has room for them; until it has ended everything else
/// that isn't a real-time byte waits. One that isn't continued for a second is ended. A receiver without room is tried
/// again every millisecond, and after a second what waits for it is given up and counted.
class AlsaOutlet final : public PacketOutlet {
public:
    static constexpr std::size_t longestPiece = 256;
    static constexpr HostTime abandonedAfter = ticksPerSecond;
    static constexpr HostTime patience = ticksPerSecond;
    static constexpr HostTime retryAfter = 1'000'000;
    static constexpr HostTime never = ~HostTime{0};

    /// `sharedBell` wakes the thread that drains. `whenFirstUsed` is called by the first `send` behind each `close`,
    /// on its thread, and says whether the news got through; it may be empty.
    AlsaOutlet(std::shared_ptr<Bell> sharedBell, std::shared_ptr<AlsaLosses> sharedLosses,
               std::function<bool()> whenFirstUsed);
    ~AlsaOutlet() override;

    MIDIStatus send(MIDIPortRef port, const PacketListView& list) override;

    /// The service's thread: writes what is due. Gives the host time at which there is more to do, or `never`.
    HostTime drain(HostTime time, AlsaSink& sink);

    /// Whether anything was sent since the last `close`. Any thread.
    bool isUsed() const { return mail.isUsed(); }

    /// Whether all that was sent is out. Any thread.
    bool isEmpty() const { return mail.isEmpty(); }

    /// While an outlet isn't open nobody can hear it, and what is sent is gone without being counted. At first it is
    /// open. Main thread.
    void setOpen(bool isOpen) { mail.setOpen(isOpen); }

    /// Main thread, while nobody drains the outlet: what is under way is lost and counted.
    void close();

private:
    void takeMail();
    void release(HostTime limit);
    void append(OutgoingLetter* letter);
    bool mayGo(const OutgoingLetter& letter) const;
    bool emit(OutgoingLetter& letter, AlsaSink& sink);
    bool emitSysEx(OutgoingLetter& letter, AlsaSink& sink);
    bool emitShort(OutgoingLetter& letter, AlsaSink& sink);
    bool endSysEx(AlsaSink& sink);
    void endAbandonedSysEx(AlsaSink& sink);
    bool put(std::span<const std::uint8_t> message, AlsaSink& sink);
    HostTime nextTime() const;

    const std::shared_ptr<Bell> bell;
    OutgoingMail mail;

    // The draining thread's own.
    HostTime now = 0;
    /// Earliest on top.
    std::vector<OutgoingLetter*> ahead;
    /// What is due, in order.
    OutgoingLetter* waiting = nullptr;
    OutgoingLetter** waitingEnd = &waiting;
    std::size_t waitingCount = 0;
    bool isStalled = false;
    /// 0 while the receiver takes what it is given.
    HostTime stalledSince = 0;
    bool isInSysEx = false;
    MIDIPortRef sysExSender = 0;
    HostTime sysExTime = 0;
};

}  // namespace varnolex
