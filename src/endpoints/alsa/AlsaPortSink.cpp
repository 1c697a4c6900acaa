#include "endpoints/alsa/AlsaPortSink.hpp"

#include <alsa/asoundlib.h>

#include <cerrno>

namespace varnolex {

AlsaSink::Outcome AlsaPortSink::write(std::span<const std::uint8_t> message) {
    snd_seq_event_t event;
    if (!sender.codec.encode(message, event)) return Outcome::refused;
    const bool isSysEx = snd_seq_ev_is_variable(&event);
    const int cells = alsaCellsFor(isSysEx ? message.size() : 0);
    if (!hasRoom(cells, isSysEx)) return Outcome::later;
    if (outlet.destination) {
        snd_seq_ev_set_source(&event, sender.port);
        snd_seq_ev_set_dest(&event, outlet.destination->client, outlet.destination->port);
    } else {
        snd_seq_ev_set_source(&event, outlet.port);
        snd_seq_ev_set_subs(&event);
    }
    const int result = snd_seq_event_output_direct(sender.sequencer, &event);
    room.free -= cells;
    if (result >= 0) return Outcome::taken;
    // A driver whose device hasn't sent yet what it has.
    const bool isFullDriver = result == -ENOMEM && outlet.destination && !isLimited;
    return isFullDriver ? Outcome::later : Outcome::refused;
}

/// SysEx leaves a quarter to the messages of others.
bool AlsaPortSink::hasRoom(int cells, bool isSysEx) {
    const auto isEnough = [&] { return !isLimited || room.free >= cells + (isSysEx ? room.all / 4 : 0); };
    if (!isEnough()) askForRoom();
    return isEnough();
}

void AlsaPortSink::askForRoom() {
    isLimited = false;
    for (const std::uint8_t receiver : outlet.receivers) {
        const auto told = alsaRoomOf(sender.descriptor, receiver);
        if (!told || (isLimited && told->free >= room.free)) continue;
        isLimited = true;
        room = *told;
    }
}

}  // namespace varnolex
