#include "endpoints/alsa/AlsaDirectory.hpp"

#include <alsa/asoundlib.h>

#include <limits>

#include "endpoints/alsa/AlsaRecord.hpp"

namespace varnolex {

namespace {

constexpr unsigned readable = SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ;
constexpr unsigned writable = SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE;

std::string takeText(char* text) {
    const std::unique_ptr<char, void (*)(void*)> hold(text, std::free);
    return text ? text : "";
}

void describeCard(int card, AlsaPortInfo& port) {
    char* name = nullptr;
    if (snd_card_get_name(card, &name) < 0) return;
    port.cardName = takeText(name);
    snd_ctl_t* control = nullptr;
    if (snd_ctl_open(&control, ("hw:" + std::to_string(card)).c_str(), SND_CTL_READONLY | SND_CTL_NONBLOCK) < 0) return;
    const auto info = makeAlsaRecord(snd_ctl_card_info_malloc, snd_ctl_card_info_free);
    if (snd_ctl_card_info(control, info.get()) >= 0) port.cardDriver = snd_ctl_card_info_get_driver(info.get());
    snd_ctl_close(control);
}

bool allows(unsigned capabilities, unsigned wanted) { return (capabilities & wanted) == wanted; }

}  // namespace

std::vector<std::uint8_t> alsaListeners(_snd_seq* sequencer, AlsaAddress source) {
    std::vector<std::uint8_t> clients;
    const auto query = makeAlsaRecord(snd_seq_query_subscribe_malloc, snd_seq_query_subscribe_free);
    const snd_seq_addr_t root{source.client, source.port};
    snd_seq_query_subscribe_set_root(query.get(), &root);
    snd_seq_query_subscribe_set_type(query.get(), SND_SEQ_QUERY_SUBS_READ);
    for (int index = 0; index <= std::numeric_limits<std::uint8_t>::max(); ++index) {
        snd_seq_query_subscribe_set_index(query.get(), index);
        if (snd_seq_query_port_subscribers(sequencer, query.get()) < 0) break;
        clients.push_back(snd_seq_query_subscribe_get_addr(query.get())->client);
    }
    return clients;
}

std::vector<AlsaPortInfo> alsaForeignPorts(_snd_seq* sequencer) {
    std::vector<AlsaPortInfo> found;
    const int ownClient = snd_seq_client_id(sequencer);
    const auto client = makeAlsaRecord(snd_seq_client_info_malloc, snd_seq_client_info_free);
    const auto port = makeAlsaRecord(snd_seq_port_info_malloc, snd_seq_port_info_free);
    snd_seq_client_info_set_client(client.get(), -1);
    while (snd_seq_query_next_client(sequencer, client.get()) >= 0) {
        const int number = snd_seq_client_info_get_client(client.get());
        if (number == ownClient || number == SND_SEQ_CLIENT_SYSTEM) continue;
        AlsaPortInfo told{.address = {static_cast<std::uint8_t>(number), 0},
                          .clientName = snd_seq_client_info_get_name(client.get()),
                          .processID = snd_seq_client_info_get_pid(client.get())};
        const int card = snd_seq_client_info_get_card(client.get());
        if (card >= 0 && snd_seq_client_info_get_type(client.get()) == SND_SEQ_KERNEL_CLIENT) describeCard(card, told);
        snd_seq_port_info_set_client(port.get(), number);
        snd_seq_port_info_set_port(port.get(), -1);
        while (snd_seq_query_next_port(sequencer, port.get()) >= 0) {
            const unsigned capabilities = snd_seq_port_info_get_capability(port.get());
            if (capabilities & SND_SEQ_PORT_CAP_NO_EXPORT) continue;
            told.address.port = static_cast<std::uint8_t>(snd_seq_port_info_get_port(port.get()));
            told.portName = snd_seq_port_info_get_name(port.get());
            told.isSource = allows(capabilities, readable);
            told.isDestination = allows(capabilities, writable);
            if (told.isSource || told.isDestination) found.push_back(told);
        }
    }
    return found;
}

bool alsaPassesOn(_snd_seq* sequencer, int client) {
    const auto info = makeAlsaRecord(snd_seq_client_info_malloc, snd_seq_client_info_free);
    return snd_seq_get_any_client_info(sequencer, client, info.get()) >= 0 &&
           snd_seq_client_info_get_type(info.get()) == SND_SEQ_KERNEL_CLIENT &&
           snd_seq_client_info_get_card(info.get()) < 0;
}

}  // namespace varnolex
