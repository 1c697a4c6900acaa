#include "endpoints/OutgoingMail.hpp"

#include <algorithm>

#include "core/message/DataLength.hpp"

namespace varnolex {

void OutgoingMail::tellFirstUse() {
    if (!used.get() && !used.exchange(true) && onFirstUse && !onFirstUse()) used.set(false);
}

OutgoingLetter* OutgoingMail::take() {
    OutgoingLetter* letter = nullptr;
    if (!mail.take(letter)) return nullptr;
    letter->number = ++lastNumber;
    return letter;
}

void OutgoingMail::end(OutgoingLetter* letter) {
    bytesUnderWay.add(static_cast<std::size_t>(0) - letter->bytes().size());
    OutgoingLetter::End{}(letter);
}

void OutgoingMail::lose(OutgoingLetter* letter) {
    countLoss();
    end(letter);
}

void OutgoingMail::close() {
    while (OutgoingLetter* const letter = take()) lose(letter);
    used.set(false);
}

bool OutgoingMail::post(OutgoingLetter::Pointer letter) {
    const std::size_t length = letter->bytes().size();
    if (bytesUnderWay.add(length) <= bytesLimit) {
        OutgoingLetter* const posted = letter.get();
        if (mail.post(letter.release())) return true;
        letter.reset(posted);
    }
    bytesUnderWay.add(static_cast<std::size_t>(0) - length);
    return false;
}

ShortMessageCut::ShortMessageCut(const OutgoingLetter& letter) {
    const auto from = letter.bytes();
    std::size_t next = letter.taken;
    const std::uint8_t status = from[next] >= 0x80 ? from[next++] : letter.status;
    const std::size_t wanted = 1 + dataLengthOf(status);
    bytes[length++] = status;
    for (; length < wanted && next < from.size() && (from[next] < 0x80 || from[next] >= 0xF8); ++next)
        if (from[next] < 0x80) bytes[length++] = from[next];
    end = std::max(next, letter.taken + 1);
    isMessage = status != 0 && status != 0xF7 && length == wanted;
    nextStatus = status < 0xF0 ? status : 0;
}

SysExCut::SysExCut(const OutgoingLetter& letter, std::size_t limit) {
    const auto rest = letter.bytes().subspan(letter.taken);
    const auto seen = rest.first(std::min(rest.size(), limit));
    isStart = seen[0] == 0xF0;
    const auto status = std::find_if(seen.begin() + isStart, seen.end(), [](auto byte) { return byte >= 0x80; });
    hasEnd = status != seen.end() && *status == 0xF7;
    bytes = seen.first(static_cast<std::size_t>(status - seen.begin()) + hasEnd);
}

}  // namespace varnolex
