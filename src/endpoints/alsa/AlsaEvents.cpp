#include "endpoints/alsa/AlsaEvents.hpp"

#include <alsa/asoundlib.h>

#include <new>

namespace varnolex {

namespace {

snd_midi_event* newParser() {
    snd_midi_event* parser = nullptr;
    if (snd_midi_event_new(AlsaCodec::longestShort, &parser) < 0) throw std::bad_alloc();
    // Each message with its status, since the events of several senders pass through one parser.
    snd_midi_event_no_status(parser, 1);
    return parser;
}

bool isSysEx(std::uint8_t firstByte) { return firstByte < 0x80 || firstByte == 0xF0 || firstByte == 0xF7; }

}  // namespace

void AlsaCodec::End::operator()(snd_midi_event* ended) const { snd_midi_event_free(ended); }

AlsaCodec::AlsaCodec() : parser(newParser()) {}

AlsaCodec::~AlsaCodec() = default;

bool AlsaCodec::encode(std::span<const std::uint8_t> message, snd_seq_event& event) {
    if (message.empty()) return false;
    snd_seq_ev_clear(&event);
    snd_seq_ev_set_direct(&event);
    if (isSysEx(message[0])) {
        snd_seq_ev_set_sysex(&event, static_cast<unsigned>(message.size()), const_cast<std::uint8_t*>(message.data()));
        return true;
    }
    snd_midi_event_reset_encode(parser.get());
    const auto size = static_cast<long>(message.size());
    return snd_midi_event_encode(parser.get(), message.data(), size, &event) == size &&
           event.type != SND_SEQ_EVENT_NONE;
}

std::span<const std::uint8_t> AlsaCodec::decode(const snd_seq_event& event) {
    if (event.type == SND_SEQ_EVENT_SYSEX) {
        if (!snd_seq_ev_is_variable(&event)) return {};
        return {static_cast<const std::uint8_t*>(event.data.ext.ptr), event.data.ext.len};
    }
    if (event.type == SND_SEQ_EVENT_NOTE) {
        // A note that is to end by itself: for one that reaches us without a queue nobody else sees to its end.
        const std::uint8_t channel = event.data.note.channel & 0x0F;
        const std::uint8_t note = event.data.note.note & 0x7F;
        bytes = {static_cast<std::uint8_t>(0x90 | channel),
                 note,
                 static_cast<std::uint8_t>(event.data.note.velocity & 0x7F),
                 static_cast<std::uint8_t>(0x80 | channel),
                 note,
                 static_cast<std::uint8_t>(event.data.note.off_velocity & 0x7F)};
        return std::span(bytes).first(6);
    }
    const long size = snd_midi_event_decode(parser.get(), bytes.data(), static_cast<long>(bytes.size()), &event);
    return std::span(bytes).first(size > 0 ? static_cast<std::size_t>(size) : 0);
}

AlsaNews newsOf(const snd_seq_event& event) {
    if (event.source.client != SND_SEQ_CLIENT_SYSTEM) return {};
    const AlsaAddress address{event.data.addr.client, event.data.addr.port};
    switch (event.type) {
        case SND_SEQ_EVENT_PORT_START:
            return {AlsaNews::Kind::appeared, address};
        case SND_SEQ_EVENT_PORT_EXIT:
        case SND_SEQ_EVENT_PORT_CHANGE:
        case SND_SEQ_EVENT_CLIENT_EXIT:
        case SND_SEQ_EVENT_CLIENT_CHANGE:
            return {AlsaNews::Kind::changed, address};
        case SND_SEQ_EVENT_PORT_SUBSCRIBED:
        case SND_SEQ_EVENT_PORT_UNSUBSCRIBED:
            return {AlsaNews::Kind::changed, {event.data.connect.sender.client, event.data.connect.sender.port}};
        default:
            return {};
    }
}

}  // namespace varnolex
