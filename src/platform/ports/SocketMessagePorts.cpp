#include "platform/ports/SocketMessagePorts.hpp"

#include "platform/ports/SocketLocalPort.hpp"
#include "platform/ports/SocketRemotePort.hpp"

namespace varnolex {

std::unique_ptr<LocalMessagePort> SocketMessagePorts::open(const std::string& name, PortHandler handler,
                                                           std::string& failure) {
    if (!isName(name)) {
        failure = "\"" + name + "\" can't be the name of a port";
        return nullptr;
    }
    PortFolder opened = PortFolder::open(folder, true, failure);
    if (!opened) return nullptr;
    PortFolder::Listener listener = opened.listen(name, failure);
    if (!listener.socket) return nullptr;
    return std::make_unique<SocketLocalPort>(name, std::move(handler), std::move(opened), std::move(listener));
}

std::unique_ptr<RemoteMessagePort> SocketMessagePorts::find(const std::string& name) {
    std::string failure;
    if (!isName(name)) return nullptr;
    const PortFolder opened = PortFolder::open(folder, false, failure);
    if (!opened) return nullptr;
    OwnedDescriptor socket = opened.connect(name);
    if (!socket) return nullptr;
    return std::make_unique<SocketRemotePort>(std::move(socket));
}

}  // namespace varnolex
