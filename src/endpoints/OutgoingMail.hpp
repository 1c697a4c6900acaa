#pragma once

#include <array>
#include <functional>
#include <memory>

#include "endpoints/MIDIService.hpp"
#include "endpoints/OutgoingLetter.hpp"
#include "platform/concurrency/LiveValue.hpp"
#include "platform/concurrency/Mailbox.hpp"

namespace varnolex {

/// The letters on their way from any thread to the one that delivers them, limited in number and bytes. What finds no
/// place is refused and counted.
class OutgoingMail {
public:
    static constexpr std::size_t letterLimit = 4096;
    static constexpr std::size_t bytesLimit = 16 * 1024 * 1024;

    using Count = SharedValue<std::uint64_t>;

    /// `lostPackets` counts packets or parts of packets. `whenFirstUsed` is called by the first `send` behind each
    /// `close`, on its thread, and says whether the news got through; it may be empty.
    OutgoingMail(std::shared_ptr<Count> lostPackets, std::function<bool()> whenFirstUsed)
        : lost(std::move(lostPackets)), onFirstUse(std::move(whenFirstUsed)) {}
    ~OutgoingMail() { close(); }
    OutgoingMail(const OutgoingMail&) = delete;
    OutgoingMail& operator=(const OutgoingMail&) = delete;

    /// Any thread, by the rules of the processing road. `schedule` gets each letter with the time of its packet and
    /// notes in it when it is to leave.
    template <class Schedule>
    MIDIStatus send(MIDIPortRef port, const PacketListView& list, Schedule schedule);

    /// Whether anything was sent since the last `close`. Any thread.
    bool isUsed() const { return used.get(); }

    /// Whether nothing is under way. Any thread.
    bool isEmpty() const { return bytesUnderWay.get() == 0; }

    /// While it isn't open nobody can hear what is sent, and it is gone without being counted. At first it is open.
    void setOpen(bool isOpen) { open.set(isOpen); }

    /// The delivering thread: the next letter, numbered in the order of arrival, for it to `end` or `lose`. Null when
    /// there is none.
    OutgoingLetter* take();
    void end(OutgoingLetter* letter);
    void lose(OutgoingLetter* letter);
    /// Something that isn't a letter of its own couldn't be delivered.
    void countLoss() { lost->add(1); }

    /// While nobody takes: what is under way is lost and counted.
    void close();

private:
    bool post(OutgoingLetter::Pointer letter);
    void tellFirstUse();

    const std::shared_ptr<Count> lost;
    const std::function<bool()> onFirstUse;
    SharedValue<bool> open{true};
    SharedValue<bool> used{false};
    SharedValue<std::size_t> bytesUnderWay{0};
    Mailbox<OutgoingLetter*> mail{letterLimit};
    /// The delivering thread's own.
    std::uint64_t lastNumber = 0;
};

/// The next message of a letter that isn't SysEx, put together when running status or a real-time byte inside it asks
/// for it.
struct ShortMessageCut {
    explicit ShortMessageCut(const OutgoingLetter& letter);

    std::span<const std::uint8_t> message() const { return std::span(bytes).first(length); }

    /// False when what stands there is no message.
    bool isMessage = false;
    /// The running status behind it.
    std::uint8_t nextStatus = 0;
    /// Where the letter goes on.
    std::size_t end = 0;

private:
    std::array<std::uint8_t, 3> bytes{};
    std::size_t length = 0;
};

/// The SysEx bytes that a letter goes on with.
struct SysExCut {
    /// Looks no further than `limit` bytes.
    SysExCut(const OutgoingLetter& letter, std::size_t limit);

    std::span<const std::uint8_t> bytes;
    bool isStart = false;
    /// Whether its last byte ends the SysEx.
    bool hasEnd = false;
};

template <class Schedule>
MIDIStatus OutgoingMail::send(MIDIPortRef port, const PacketListView& list, Schedule schedule) {
    if (!open.get()) return midiSuccess;
    MIDIStatus status = midiSuccess;
    for (const Packet& packet : list) {
        for (auto rest = packet.bytes; !rest.empty();) {
            const auto part = rest.first(std::min(rest.size(), OutgoingLetter::longest));
            rest = rest.subspan(part.size());
            auto letter = OutgoingLetter::make(port, part);
            schedule(*letter, packet.timeStamp);
            if (post(std::move(letter))) continue;
            countLoss();
            status = midiQueueFull;
            break;
        }
    }
    tellFirstUse();
    return status;
}

}  // namespace varnolex
