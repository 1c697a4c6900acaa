#include "endpoints/jack/JackOutlet.hpp"

#include <array>

#include "platform/Runtime.hpp"

namespace varnolex {

namespace {

/// Kept free of SysEx for the short messages of the same cycle.
constexpr std::size_t roomForShortMessages = 1024;
constexpr std::size_t roomForRealTime = 64;
/// Real-time bytes in one short message; a stream of them without an end isn't heard as one anyway.
constexpr int roomForRealTimeInside = 2;

std::size_t roomForSysEx(std::size_t room) {
    return room > 2 * roomForShortMessages ? room - roomForShortMessages : room / 2;
}

/// Some servers hurt the order of smaller pieces.
constexpr std::size_t smallestPiece = 512;

/// A letter that is due waits for its frame no longer than this, should the server's frames stand still or jump.
constexpr std::int64_t longestWaitInCycles = 3;

bool isDueLater(const OutgoingLetter* first, const OutgoingLetter* second) {
    return first->frame != second->frame ? first->frame > second->frame : first->number > second->number;
}

bool isAheadLater(const OutgoingLetter* first, const OutgoingLetter* second) {
    return first->time != second->time ? first->time > second->time : first->number > second->number;
}

template <class Order>
void push(std::vector<OutgoingLetter*>& heap, OutgoingLetter* letter, Order isLater) {
    heap.push_back(letter);
    std::push_heap(heap.begin(), heap.end(), isLater);
}

template <class Order>
OutgoingLetter* pop(std::vector<OutgoingLetter*>& heap, Order isLater) {
    std::pop_heap(heap.begin(), heap.end(), isLater);
    OutgoingLetter* const letter = heap.back();
    heap.pop_back();
    return letter;
}

}  // namespace

JackOutlet::JackOutlet(std::shared_ptr<const JackTiming> sharedTiming, std::shared_ptr<JackLosses> sharedLosses,
                       std::function<bool()> whenFirstUsed)
    : timing(std::move(sharedTiming)), mail({sharedLosses, &sharedLosses->packets}, std::move(whenFirstUsed)) {
    due.reserve(OutgoingMail::letterLimit);
    ahead.reserve(OutgoingMail::letterLimit);
}

JackOutlet::~JackOutlet() { close(); }

MIDIStatus JackOutlet::send(MIDIPortRef port, const PacketListView& list) {
    const JackCycle cycle = timing->cycle();
    const bool isProcessing = timing->isProcessing();
    const HostTime now = Runtime::current().hostTime();
    return mail.send(port, list,
                     [&](OutgoingLetter& letter, HostTime time) { schedule(letter, time, now, cycle, isProcessing); });
}

void JackOutlet::schedule(OutgoingLetter& letter, HostTime time, HostTime now, const JackCycle& cycle,
                          bool isProcessing) {
    letter.time = time != 0 ? time : now;
    if (cycle.frames == 0) {
        letter.isAhead = letter.time > now;
        return;
    }
    letter.frame = cycle.frameOf(letter.time);
    if (isProcessing) {
        letter.isAhead = letter.frame >= cycle.endFrame();
    } else {
        letter.isAhead = letter.time > now + cycle.period();
        letter.frame += cycle.frames;
    }
}

void JackOutlet::drain(const JackCycle& cycle, JackEventSink& sink) {
    isFull = false;
    offset = 0;
    cycleStart = cycle.start;
    takeMail(cycle);
    releaseWhatCameDue(cycle);
    letHeldGo();
    endAbandonedSysEx(sink);
    resume(sink);
    while (OutgoingLetter* const letter = nextLetter(cycle.endFrame())) {
        if (letter->isRealTime && sink.room() < roomForRealTime) {
            push(due, letter, isDueLater);
            break;
        }
        emit(letter, cycle, sink);
    }
}

void JackOutlet::takeMail(const JackCycle& cycle) {
    while (due.size() + heldCount < OutgoingMail::letterLimit) {
        OutgoingLetter* const letter = mail.take();
        if (!letter) return;
        if (!letter->isAhead) {
            letter->frame = std::min(letter->frame, cycle.firstFrame + longestWaitInCycles * cycle.frames);
            if (!letter->isRealTime) letter->frame = lastFrame = std::max(letter->frame, lastFrame);
            push(due, letter, isDueLater);
        } else if (ahead.size() < OutgoingMail::letterLimit) {
            push(ahead, letter, isAheadLater);
        } else {
            mail.lose(letter);
        }
    }
}

void JackOutlet::releaseWhatCameDue(const JackCycle& cycle) {
    while (!ahead.empty() && due.size() < OutgoingMail::letterLimit) {
        const std::int64_t frame = cycle.frameOf(ahead.front()->time);
        if (frame >= cycle.endFrame()) return;
        OutgoingLetter* const letter = pop(ahead, isAheadLater);
        letter->frame = frame;
        push(due, letter, isDueLater);
    }
}

void JackOutlet::resume(JackEventSink& sink) {
    if (!current) return;
    if (emitBytes(*current, sink))
        mail.end(std::exchange(current, nullptr));
    else
        isFull = true;
}

OutgoingLetter* JackOutlet::nextLetter(std::int64_t endFrame) {
    if (OutgoingLetter* const letter = nextHeld()) return letter;
    while (!due.empty() && due.front()->frame < endFrame) {
        OutgoingLetter* const letter = pop(due, isDueLater);
        if (mayGo(*letter)) return letter;
        hold(letter);
    }
    return nullptr;
}

OutgoingLetter* JackOutlet::nextHeld() {
    for (; *heldCursor; heldCursor = &(*heldCursor)->next) {
        OutgoingLetter* const letter = *heldCursor;
        if (!mayGo(*letter)) continue;
        *heldCursor = letter->next;
        if (!letter->next) heldEnd = heldCursor;
        --heldCount;
        return letter;
    }
    return nullptr;
}

bool JackOutlet::mayGo(const OutgoingLetter& letter) const {
    if (letter.isRealTime) return true;
    return !isFull && (!isInSysEx || letter.sender == sysExSender);
}

void JackOutlet::hold(OutgoingLetter* letter) {
    letter->next = nullptr;
    *heldEnd = letter;
    heldEnd = &letter->next;
    heldCursor = heldEnd;
    ++heldCount;
}

void JackOutlet::emit(OutgoingLetter* letter, const JackCycle& cycle, JackEventSink& sink) {
    const std::int64_t own = std::clamp<std::int64_t>(letter->frame - cycle.firstFrame, 0, cycle.frames - 1);
    offset = std::max(offset, static_cast<std::uint32_t>(own));
    const bool wasInSysEx = isInSysEx;
    if (emitBytes(*letter, sink)) {
        mail.end(letter);
    } else {
        current = letter;
        isFull = true;
    }
    if (wasInSysEx && !isInSysEx) letHeldGo();
}

/// False when the rest has to wait for the next cycle.
bool JackOutlet::emitBytes(OutgoingLetter& letter, JackEventSink& sink) {
    const auto bytes = letter.bytes();
    while (letter.taken < bytes.size()) {
        const std::uint8_t byte = bytes[letter.taken];
        if (sink.room() < roomForRealTime) return false;
        if (byte >= 0xF8) {
            if (!sink.write(offset, bytes.subspan(letter.taken, 1))) return false;
            ++letter.taken;
        } else if (byte == 0xF0 || (isInSysEx && (byte < 0x80 || byte == 0xF7))) {
            if (isInSysEx && byte == 0xF0 && !endSysEx(sink)) return false;
            if (!emitSysEx(letter, sink)) return false;
        } else {
            if (isInSysEx && !endSysEx(sink)) return false;
            if (!emitShort(letter, sink)) return false;
        }
    }
    return true;
}

bool JackOutlet::emitSysEx(OutgoingLetter& letter, JackEventSink& sink) {
    const SysExCut cut(letter, OutgoingLetter::longest);
    const std::size_t whole = cut.bytes.size();
    const std::size_t room = roomForSysEx(sink.room());
    const std::size_t wholeRoom = roomForSysEx(sink.wholeRoom());
    const bool mayFitLater = cut.isStart && cut.hasEnd && whole <= wholeRoom;
    if (whole > room && (room < std::min(smallestPiece, wholeRoom) || mayFitLater)) return false;
    const std::size_t length = std::min(whole, room);
    if (!sink.write(offset, cut.bytes.first(length))) return false;
    letter.taken += length;
    letter.status = 0;
    isInSysEx = length < whole || !cut.hasEnd;
    sysExSender = letter.sender;
    sysExTime = cycleStart;
    return true;
}

bool JackOutlet::emitShort(OutgoingLetter& letter, JackEventSink& sink) {
    const ShortMessageCut cut(letter);
    // Those inside the message go before it.
    int room = roomForRealTimeInside;
    for (const std::uint8_t& byte : letter.bytes().subspan(letter.taken, cut.end - letter.taken))
        if (byte >= 0xF8 && room-- > 0) sink.write(offset, {&byte, 1});
    letter.taken = cut.end;
    letter.status = cut.nextStatus;
    if (!cut.isMessage || !sink.write(offset, cut.message())) mail.countLoss();
    return true;
}

bool JackOutlet::endSysEx(JackEventSink& sink) {
    constexpr std::array<std::uint8_t, 1> endOfSysEx{0xF7};
    if (!sink.write(offset, endOfSysEx)) return false;
    isInSysEx = false;
    return true;
}

void JackOutlet::endAbandonedSysEx(JackEventSink& sink) {
    if (!isInSysEx || current || cycleStart < sysExTime + abandonedAfter) return;
    if (endSysEx(sink)) mail.countLoss();
}

void JackOutlet::close() {
    mail.close();
    const auto lose = [this](OutgoingLetter* letter) { mail.lose(letter); };
    std::for_each(due.begin(), due.end(), lose);
    std::for_each(ahead.begin(), ahead.end(), lose);
    due.clear();
    ahead.clear();
    while (held) lose(std::exchange(held, held->next));
    heldEnd = heldCursor = &held;
    heldCount = 0;
    if (current) lose(std::exchange(current, nullptr));
    isInSysEx = false;
    isFlowing = false;
    lastFrame = 0;
}

}  // namespace varnolex
