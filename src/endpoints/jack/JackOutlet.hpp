#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "endpoints/EndpointRouting.hpp"
#include "endpoints/OutgoingMail.hpp"
#include "endpoints/jack/JackTiming.hpp"

namespace varnolex {

/// The buffer of an output port in one cycle, as an outlet fills it. Process thread.
class JackEventSink {
public:
    virtual ~JackEventSink() = default;
    /// How many bytes an event that is written now may have at most.
    virtual std::size_t room() = 0;
    /// The same in a cycle in which nothing was written yet.
    virtual std::size_t wholeRoom() = 0;
    /// Offsets never go back. False when the event isn't taken.
    virtual bool write(std::uint32_t offset, std::span<const std::uint8_t> event) = 0;
};

/// What can't be delivered, of all ports of a client.
struct JackLosses {
    /// Packets or parts of packets that found no place, that were no MIDI message, or whose receiver has gone.
    SharedValue<std::uint64_t> packets{0};
    /// Events that the server itself reports as lost before they reached us.
    SharedValue<std::uint64_t> events{0};
};

/// The way out to one JACK port. Any thread sends; the process thread drains once a cycle.
///
/// When a message leaves: one that is sent inside the process callback at its own time's frame of this cycle; one
/// that another thread sends a period after its time; one whose time lies further ahead at its time. What is sent
/// without looking ahead keeps its order whatever thread it comes from, so that a note's end can't overtake its start.
/// Real-time bytes wait for nobody.
///
/// SysEx goes out whole where an event can hold it, else in pieces, over as many cycles as it needs; until it has ended
/// everything else that isn't a real-time byte waits. One that isn't continued for a second is ended.
class JackOutlet final : public PacketOutlet {
public:
    static constexpr HostTime abandonedAfter = ticksPerSecond;

    /// `sharedTiming` and `sharedLosses` are those of the client. `whenFirstUsed` is called by the first `send` behind
    /// each `close`, on its thread, and says whether the news got through; it may be empty.
    JackOutlet(std::shared_ptr<const JackTiming> sharedTiming, std::shared_ptr<JackLosses> sharedLosses,
               std::function<bool()> whenFirstUsed);
    ~JackOutlet() override;

    MIDIStatus send(MIDIPortRef port, const PacketListView& list) override;

    /// Process thread: whether the outlet is to be drained. Until the port is heard for the first time behind a `close`
    /// what is sent waits for it.
    bool mayFlow(bool isHeard) { return isFlowing = isFlowing || isHeard; }

    /// Process thread: writes what leaves in this cycle.
    void drain(const JackCycle& cycle, JackEventSink& sink);

    /// Whether anything was sent since the last `close`. Any thread.
    bool isUsed() const { return mail.isUsed(); }

    /// Whether all that was sent is out. Any thread.
    bool isEmpty() const { return mail.isEmpty(); }

    /// While an outlet isn't open nobody can hear it, and what is sent is gone without being counted. At first it is
    /// open. Main thread.
    void setOpen(bool isOpen) { mail.setOpen(isOpen); }

    /// Main thread, while no cycle drains the outlet: what is under way is lost and counted.
    void close();

private:
    /// Earliest on top, by what `isLater` compares.
    using Heap = std::vector<OutgoingLetter*>;

    static void schedule(OutgoingLetter& letter, HostTime time, HostTime now, const JackCycle& cycle,
                         bool isProcessing);

    void takeMail(const JackCycle& cycle);
    void releaseWhatCameDue(const JackCycle& cycle);
    void resume(JackEventSink& sink);
    OutgoingLetter* nextLetter(std::int64_t endFrame);
    OutgoingLetter* nextHeld();
    bool mayGo(const OutgoingLetter& letter) const;
    void hold(OutgoingLetter* letter);
    void letHeldGo() { heldCursor = &held; }
    void emit(OutgoingLetter* letter, const JackCycle& cycle, JackEventSink& sink);
    bool emitBytes(OutgoingLetter& letter, JackEventSink& sink);
    bool emitSysEx(OutgoingLetter& letter, JackEventSink& sink);
    bool emitShort(OutgoingLetter& letter, JackEventSink& sink);
    bool endSysEx(JackEventSink& sink);
    void endAbandonedSysEx(JackEventSink& sink);

    const std::shared_ptr<const JackTiming> timing;
    OutgoingMail mail;

    // The process thread's own.
    bool isFlowing = false;
    Heap due;
    Heap ahead;
    std::int64_t lastFrame = 0;
    /// What waits for the end of a SysEx or for the next cycle's room, in order.
    OutgoingLetter* held = nullptr;
    OutgoingLetter** heldEnd = &held;
    std::size_t heldCount = 0;
    /// No letter before this one may go now.
    OutgoingLetter** heldCursor = &held;
    /// Half out.
    OutgoingLetter* current = nullptr;
    bool isFull = false;
    std::uint32_t offset = 0;
    bool isInSysEx = false;
    MIDIPortRef sysExSender = 0;
    HostTime sysExTime = 0;
    HostTime cycleStart = 0;
};

}  // namespace varnolex
