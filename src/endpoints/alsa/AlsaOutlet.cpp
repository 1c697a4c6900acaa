#include "endpoints/alsa/AlsaOutlet.hpp"

#include <algorithm>
#include <array>

#include "core/message/DataLength.hpp"
#include "platform/Runtime.hpp"

namespace varnolex {

namespace {

bool isLater(const OutgoingLetter* first, const OutgoingLetter* second) {
    return first->time != second->time ? first->time > second->time : first->number > second->number;
}

}  // namespace

AlsaOutlet::AlsaOutlet(std::shared_ptr<Bell> sharedBell, std::shared_ptr<AlsaLosses> sharedLosses,
                       std::function<bool()> whenFirstUsed)
    : bell(std::move(sharedBell)), losses(std::move(sharedLosses)), onFirstUse(std::move(whenFirstUsed)) {
    ahead.reserve(letterLimit);
}

AlsaOutlet::~AlsaOutlet() { close(); }

MIDIStatus AlsaOutlet::send(MIDIPortRef port, const PacketListView& list) {
    if (!open.get()) return midiSuccess;
    const HostTime sendingTime = Runtime::current().hostTime();
    MIDIStatus status = midiSuccess;
    for (const Packet& packet : list) {
        for (auto rest = packet.bytes; !rest.empty();) {
            const auto part = rest.first(std::min(rest.size(), OutgoingLetter::longest));
            rest = rest.subspan(part.size());
            auto letter = OutgoingLetter::make(port, part);
            letter->isAhead = packet.timeStamp > sendingTime;
            letter->time = letter->isAhead ? packet.timeStamp : sendingTime;
            if (post(std::move(letter), part.size())) continue;
            losses->packets.add(1);
            status = midiQueueFull;
            break;
        }
    }
    bell->ring();
    if (!used.get() && !used.exchange(true) && onFirstUse && !onFirstUse()) used.set(false);
    return status;
}

bool AlsaOutlet::post(OutgoingLetter::Pointer letter, std::size_t length) {
    if (bytesUnderWay.add(length) <= bytesLimit) {
        OutgoingLetter* const posted = letter.get();
        if (mail.post(letter.release())) return true;
        letter.reset(posted);
    }
    bytesUnderWay.add(static_cast<std::size_t>(0) - length);
    return false;
}

HostTime AlsaOutlet::drain(HostTime time, AlsaSink& sink) {
    now = time;
    isStalled = false;
    takeMail();
    release(now);
    endAbandonedSysEx(sink);
    for (OutgoingLetter** place = &waiting; *place;) {
        OutgoingLetter* const letter = *place;
        const bool wasInSysEx = isInSysEx;
        if (!mayGo(*letter) || !emit(*letter, sink)) {
            place = &letter->next;
            continue;
        }
        *place = letter->next;
        if (!letter->next) waitingEnd = place;
        --waitingCount;
        end(letter);
        // What was passed by may go now.
        if (wasInSysEx && !isInSysEx) place = &waiting;
    }
    if (!waiting) stalledSince = 0;
    return nextTime();
}

void AlsaOutlet::takeMail() {
    OutgoingLetter* letter = nullptr;
    while (waitingCount < letterLimit && mail.take(letter)) {
        letter->number = ++lastNumber;
        if (!letter->isAhead) {
            release(letter->time);
            append(letter);
        } else if (ahead.size() < letterLimit) {
            ahead.push_back(letter);
            std::push_heap(ahead.begin(), ahead.end(), isLater);
        } else {
            losses->packets.add(1);
            end(letter);
        }
    }
}

void AlsaOutlet::release(HostTime limit) {
    while (!ahead.empty() && ahead.front()->time <= limit) {
        std::pop_heap(ahead.begin(), ahead.end(), isLater);
        append(ahead.back());
        ahead.pop_back();
    }
}

void AlsaOutlet::append(OutgoingLetter* letter) {
    letter->next = nullptr;
    *waitingEnd = letter;
    waitingEnd = &letter->next;
    ++waitingCount;
}

bool AlsaOutlet::mayGo(const OutgoingLetter& letter) const {
    if (letter.isRealTime) return true;
    return !isStalled && (!isInSysEx || letter.sender == sysExSender);
}

/// False when the rest has to wait.
bool AlsaOutlet::emit(OutgoingLetter& letter, AlsaSink& sink) {
    const auto bytes = letter.bytes();
    while (letter.taken < bytes.size()) {
        const std::uint8_t byte = bytes[letter.taken];
        if (byte >= 0xF8) {
            if (!put(bytes.subspan(letter.taken, 1), sink)) return false;
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

bool AlsaOutlet::emitSysEx(OutgoingLetter& letter, AlsaSink& sink) {
    const auto rest = letter.bytes().subspan(letter.taken);
    const auto piece = rest.first(std::min(rest.size(), longestPiece));
    const bool isStart = piece[0] == 0xF0;
    const auto status = std::find_if(piece.begin() + isStart, piece.end(), [](auto byte) { return byte >= 0x80; });
    const bool isEnd = status != piece.end() && *status == 0xF7;
    const std::size_t length = static_cast<std::size_t>(status - piece.begin()) + isEnd;
    if (!put(piece.first(length), sink)) return false;
    letter.taken += length;
    letter.status = 0;
    isInSysEx = !isEnd;
    sysExSender = letter.sender;
    sysExTime = now;
    return true;
}

/// A channel or system common message, put together when running status or a real-time byte inside it asks for it.
bool AlsaOutlet::emitShort(OutgoingLetter& letter, AlsaSink& sink) {
    const auto bytes = letter.bytes();
    std::size_t next = letter.taken;
    const std::uint8_t status = bytes[next] >= 0x80 ? bytes[next++] : letter.status;
    const std::size_t length = 1 + dataLengthOf(status);
    std::array<std::uint8_t, 3> message{status};
    std::size_t size = 1;
    for (; size < length && next < bytes.size() && (bytes[next] < 0x80 || bytes[next] >= 0xF8); ++next)
        if (bytes[next] < 0x80) message[size++] = bytes[next];
    next = std::max(next, letter.taken + 1);
    const bool isMessage = status != 0 && status != 0xF7 && size == length;
    if (!isMessage)
        losses->packets.add(1);
    else if (!put(std::span(message).first(length), sink))
        return false;
    // Those inside the message: it can't be split, and they may be late by its length.
    for (; letter.taken < next; ++letter.taken)
        if (bytes[letter.taken] >= 0xF8 && !put(bytes.subspan(letter.taken, 1), sink)) losses->packets.add(1);
    letter.status = status < 0xF0 ? status : 0;
    return true;
}

bool AlsaOutlet::endSysEx(AlsaSink& sink) {
    constexpr std::array<std::uint8_t, 1> endOfSysEx{0xF7};
    if (!put(endOfSysEx, sink)) return false;
    isInSysEx = false;
    return true;
}

void AlsaOutlet::endAbandonedSysEx(AlsaSink& sink) {
    if (!isInSysEx || stalledSince != 0 || now < sysExTime + abandonedAfter) return;
    if (endSysEx(sink)) losses->packets.add(1);
}

/// False when it has to be tried again.
bool AlsaOutlet::put(std::span<const std::uint8_t> message, AlsaSink& sink) {
    const AlsaSink::Outcome outcome = sink.write(message);
    if (outcome == AlsaSink::Outcome::taken) {
        stalledSince = 0;
        return true;
    }
    if (outcome == AlsaSink::Outcome::later) {
        if (stalledSince == 0) stalledSince = now;
        isStalled = now - stalledSince < patience;
        if (isStalled) return false;
    }
    losses->packets.add(1);
    return true;
}

HostTime AlsaOutlet::nextTime() const {
    HostTime next = never;
    if (isStalled) next = now + retryAfter;
    if (isInSysEx) next = std::min(next, std::max(sysExTime + abandonedAfter, now + retryAfter));
    if (!ahead.empty()) next = std::min(next, ahead.front()->time);
    return next;
}

void AlsaOutlet::end(OutgoingLetter* letter) {
    bytesUnderWay.add(static_cast<std::size_t>(0) - letter->bytes().size());
    OutgoingLetter::End{}(letter);
}

void AlsaOutlet::close() {
    const auto lose = [this](OutgoingLetter* letter) {
        losses->packets.add(1);
        end(letter);
    };
    OutgoingLetter* letter = nullptr;
    while (mail.take(letter)) lose(letter);
    std::for_each(ahead.begin(), ahead.end(), lose);
    ahead.clear();
    while (waiting) lose(std::exchange(waiting, waiting->next));
    waitingEnd = &waiting;
    waitingCount = 0;
    stalledSince = 0;
    isInSysEx = false;
    used.set(false);
}

}  // namespace varnolex
