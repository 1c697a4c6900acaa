#pragma once

#include "platform/ports/MessagePorts.hpp"
#include "platform/ports/PortFolder.hpp"

namespace varnolex {

/// The receiving end of a port over sockets.
class SocketLocalPort final : public LocalMessagePort {
public:
    /// Starts the port's thread on a listening socket, whose lock and name it gives up at its end.
    SocketLocalPort(std::string portName, PortHandler portHandler, PortFolder portFolder,
                    PortFolder::Listener listener);
    ~SocketLocalPort() override;

    const std::string& name() const override { return ownName; }

private:
    class Server;

    const std::string ownName;
    const PortFolder folder;
    const OwnedDescriptor lock;
    std::unique_ptr<Server> server;
};

}  // namespace varnolex
