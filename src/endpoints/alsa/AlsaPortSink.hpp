#pragma once

#include "endpoints/alsa/AlsaEvents.hpp"
#include "endpoints/alsa/AlsaRoom.hpp"
#include "endpoints/alsa/AlsaSequencer.hpp"

struct _snd_seq;

namespace varnolex {

/// The way to the receivers of one outlet, for one round. It gives none more than it can hold just now.
class AlsaPortSink final : public AlsaSink {
public:
    /// Our client, as its thread writes with it. `port` is what events for destinations of others come from.
    struct Sender {
        _snd_seq* sequencer = nullptr;
        int descriptor = -1;
        int port = 0;
        AlsaCodec& codec;
    };

    AlsaPortSink(const Sender& ownSender, const AlsaGraph::Outlet& servedOutlet)
        : sender(ownSender), outlet(servedOutlet) {}

    Outcome write(std::span<const std::uint8_t> message) override;

private:
    bool hasRoom(int cells, bool isSysEx);
    /// The least of all receivers.
    void askForRoom();

    const Sender sender;
    const AlsaGraph::Outlet& outlet;
    bool isLimited = true;
    AlsaRoom room{};
};

}  // namespace varnolex
