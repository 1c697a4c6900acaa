#include "endpoints/alsa/AlsaOutlet.hpp"

#include <algorithm>
#include <array>

#include "platform/Runtime.hpp"

namespace varnolex {

namespace {

bool isLater(const OutgoingLetter* first, const OutgoingLetter* second) {
    return first->time != second->time ? first->time > second->time : first->number > second->number;
}

}  // namespace

AlsaOutlet::AlsaOutlet(std::shared_ptr<Bell> sharedBell, std::shared_ptr<AlsaLosses> sharedLosses,
                       std::function<bool()> whenFirstUsed)
    : bell(std::move(sharedBell)), mail({sharedLosses, &sharedLosses->packets}, std::move(whenFirstUsed)) {
    ahead.reserve(OutgoingMail::letterLimit);
}

AlsaOutlet::~AlsaOutlet() { close(); }

MIDIStatus AlsaOutlet::send(MIDIPortRef port, const PacketListView& list) {
    const HostTime sendingTime = Runtime::current().hostTime();
    const MIDIStatus status = mail.send(port, list, [&](OutgoingLetter& letter, HostTime time) {
        letter.isAhead = time > sendingTime;
        letter.time = letter.isAhead ? time : sendingTime;
    });
    bell->ring();
    return status;
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
        mail.end(letter);
        // What was passed by may go now.
        if (wasInSysEx && !isInSysEx) place = &waiting;
    }
    if (!waiting) stalledSince = 0;
    return nextTime();
}

void AlsaOutlet::takeMail() {
    while (waitingCount < OutgoingMail::letterLimit) {
        OutgoingLetter* const letter = mail.take();
        if (!letter) return;
        if (!letter->isAhead) {
            release(letter->time);
            append(letter);
        } else if (ahead.size() < OutgoingMail::letterLimit) {
            ahead.push_back(letter);
            std::push_heap(ahead.begin(), ahead.end(), isLater);
        } else {
            mail.lose(letter);
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
    const SysExCut piece(letter, longestPiece);
    if (!put(piece.bytes, sink)) return false;
    letter.taken += piece.bytes.size();
    letter.status = 0;
    isInSysEx = !piece.hasEnd;
    sysExSender = letter.sender;
    sysExTime = now;
    return true;
}

bool AlsaOutlet::emitShort(OutgoingLetter& letter, AlsaSink& sink) {
    const ShortMessageCut cut(letter);
    if (!cut.isMessage)
        mail.countLoss();
    else if (!put(cut.message(), sink))
        return false;
    // Those inside the message: it can't be split, and they may be late by its length.
    for (const std::uint8_t& byte : letter.bytes().subspan(letter.taken, cut.end - letter.taken))
        if (byte >= 0xF8 && !put({&byte, 1}, sink)) mail.countLoss();
    letter.taken = cut.end;
    letter.status = cut.nextStatus;
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
    if (endSysEx(sink)) mail.countLoss();
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
    mail.countLoss();
    return true;
}

HostTime AlsaOutlet::nextTime() const {
    HostTime next = never;
    if (isStalled) next = now + retryAfter;
    if (isInSysEx) next = std::min(next, std::max(sysExTime + abandonedAfter, now + retryAfter));
    if (!ahead.empty()) next = std::min(next, ahead.front()->time);
    return next;
}

void AlsaOutlet::close() {
    mail.close();
    const auto lose = [this](OutgoingLetter* letter) { mail.lose(letter); };
    std::for_each(ahead.begin(), ahead.end(), lose);
    ahead.clear();
    while (waiting) lose(std::exchange(waiting, waiting->next));
    waitingEnd = &waiting;
    waitingCount = 0;
    stalledSince = 0;
    isInSysEx = false;
}

}  // namespace varnolex
