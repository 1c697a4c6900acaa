#include "endpoints/tap/JackConnections.hpp"

#include <jack/jack.h>

#include "endpoints/jack/JackClient.hpp"

namespace varnolex {

struct JackConnections::Callbacks {
    static void connected(jack_port_id_t, jack_port_id_t, int, void* self) {
        static_cast<JackConnections*>(self)->changed();
    }
    static void ended(jack_status_t, const char*, void* self) {
        auto* const connections = static_cast<JackConnections*>(self);
        connections->isGone.set(true);
        connections->changed();
    }
};

std::unique_ptr<JackConnections> JackConnections::open(const std::string& clientName, const std::string& serverName,
                                                       std::function<void()> onChange) {
    jack_client_t* const opened = openJackClient(clientName, serverName);
    if (!opened) return nullptr;
    std::unique_ptr<JackConnections> made(new JackConnections(opened, std::move(onChange)));
    jack_set_port_connect_callback(opened, Callbacks::connected, made.get());
    jack_on_info_shutdown(opened, Callbacks::ended, made.get());
    return jack_activate(opened) == 0 ? std::move(made) : nullptr;
}

JackConnections::~JackConnections() { jack_client_close(client); }

std::set<std::string> JackConnections::of(const std::string& port) const {
    std::set<std::string> found;
    const jack_port_t* const handle = isAlive() ? jack_port_by_name(client, port.c_str()) : nullptr;
    if (!handle) return found;
    const char** const names = jack_port_get_all_connections(client, handle);
    for (const char** name = names; name && *name; ++name) found.insert(*name);
    jack_free(names);
    return found;
}

void JackConnections::connect(const std::string& source, const std::string& destination) {
    if (isAlive()) jack_connect(client, source.c_str(), destination.c_str());
}

void JackConnections::disconnect(const std::string& source, const std::string& destination) {
    if (isAlive()) jack_disconnect(client, source.c_str(), destination.c_str());
}

}  // namespace varnolex
