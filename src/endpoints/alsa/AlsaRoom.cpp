#include "endpoints/alsa/AlsaRoom.hpp"

#include <sound/asequencer.h>
#include <sys/ioctl.h>

namespace varnolex {

// The library asks for the own client's cells only.
std::optional<AlsaRoom> alsaRoomOf(int sequencerDescriptor, int client) {
    snd_seq_client_pool pool{};
    pool.client = client;
    if (ioctl(sequencerDescriptor, SNDRV_SEQ_IOCTL_GET_CLIENT_POOL, &pool) < 0 || pool.input_pool <= 0)
        return std::nullopt;
    return AlsaRoom{pool.input_free, pool.input_pool};
}

}  // namespace varnolex
