#pragma once

#include <filesystem>

#include "platform/ports/MessagePorts.hpp"
#include "platform/ports/PortFolder.hpp"

namespace varnolex {

/// Message ports over local stream sockets: between the programs of one user, each port served by a thread of its own.
/// A peer that stalls in the middle of a message, talks nonsense, floods or dies loses its connection and holds up
/// nobody else. Any thread.
class SocketMessagePorts final : public MessagePorts {
public:
    /// The sockets lie in `socketFolder`, which is made private to the user.
    explicit SocketMessagePorts(std::filesystem::path socketFolder = PortFolder::usualPath())
        : folder(std::move(socketFolder)) {}

    std::unique_ptr<LocalMessagePort> open(const std::string& name, PortHandler handler, std::string& failure) override;
    std::unique_ptr<RemoteMessagePort> find(const std::string& name) override;

private:
    std::filesystem::path folder;
};

}  // namespace varnolex
