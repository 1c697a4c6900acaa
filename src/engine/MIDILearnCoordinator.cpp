#include "engine/MIDILearnCoordinator.hpp"

#include <array>

#include "platform/Runtime.hpp"

namespace varnolex {

MIDILearnCoordinator& MIDILearnCoordinator::shared() {
    static MIDILearnCoordinator coordinator;
    return coordinator;
}

std::string_view MIDILearnCoordinator::nameOf(LearnType type) {
    static constexpr std::array<std::string_view, 5> names{"cc_number", "cc_value", "note_number", "note_velocity",
                                                           "channel"};
    return names[static_cast<std::size_t>(type)];
}

void MIDILearnCoordinator::startLearning(LearnType type, std::string id, Completion onLearned) {
    awaited = type;
    asker = std::move(id);
    completion = std::move(onLearned);
    armed.set(true);
}

void MIDILearnCoordinator::cancelLearning() {
    armed.set(false);
    awaited.reset();
    asker.reset();
    completion = nullptr;
}

void MIDILearnCoordinator::handleLearnMessage(const std::uint8_t* bytes, std::size_t length) noexcept {
    // Only channel messages can be learned from, and nobody waits most of the time.
    if (length < 1 || bytes[0] < 0x80 || bytes[0] >= 0xF0 || !armed.get()) return;
    const Offer offer{static_cast<std::uint8_t>(bytes[0] & 0xF0), static_cast<std::uint8_t>(bytes[0] & 0x0F),
                      length >= 2 ? bytes[1] : std::uint8_t{0}, length >= 3 ? bytes[2] : std::uint8_t{0}, length};
    Runtime::current().postToMain([this, offer] { consider(offer); });
}

void MIDILearnCoordinator::consider(const Offer& offer) {
    if (!isLearning() || !awaited || !completion) return;
    const std::optional<std::uint8_t> value = valueFor(*awaited, offer);
    if (!value) return;
    const Completion learned = completion;
    learned(*value);
    cancelLearning();
}

std::optional<std::uint8_t> MIDILearnCoordinator::valueFor(LearnType type, const Offer& offer) {
    const bool isController = offer.kind == 0xB0;
    const bool isNoteOn = offer.kind == 0x90;
    switch (type) {
        case LearnType::ccNumber:
            if (isController && offer.length >= 2) return offer.data1;
            break;
        case LearnType::ccValue:
            if (isController && offer.length >= 3) return offer.data2;
            break;
        case LearnType::noteNumber:
            if (isNoteOn && offer.length >= 2) return offer.data1;
            break;
        case LearnType::noteVelocity:
            if (isNoteOn && offer.length >= 3) return offer.data2;
            break;
        case LearnType::channel:
            return offer.channel;
    }
    return std::nullopt;
}

}  // namespace varnolex
