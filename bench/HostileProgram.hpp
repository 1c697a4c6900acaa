#pragma once

#include <filesystem>
#include <random>
#include <vector>

#include "platform/OwnedDescriptor.hpp"
#include "platform/ports/MessagePorts.hpp"

namespace varnolex::bench {

/// A program that means harm to the driver and its clients: wrong sizes, wrong counts, floods, silence and sudden
/// death. One thread.
class HostileProgram {
public:
    /// `socketFolder` is where the ports lie, for what goes below them; empty where they have no sockets.
    HostileProgram(MessagePorts& messagePorts, std::filesystem::path socketFolder)
        : ports(messagePorts), folder(std::move(socketFolder)) {}

    /// Does one more thing, of a dozen.
    void attack();

    std::size_t attacks() const { return count; }

private:
    void sayWrongSizes();
    void signOnAndVanish();
    void wantEverything();
    void sendWrongCopies();
    void floodWithCopies();
    void breakFrames();
    void staySilent();

    std::unique_ptr<RemoteMessagePort> driver();
    std::unique_ptr<RemoteMessagePort> someClient();
    OwnedDescriptor connected();
    std::uint32_t draw(std::uint32_t limit) { return static_cast<std::uint32_t>(random() % limit); }
    PortBytes noise(std::size_t size);

    MessagePorts& ports;
    const std::filesystem::path folder;
    std::mt19937 random{1};
    std::size_t count = 0;
    /// The number that the driver gave last: others' aren't far from it.
    std::int32_t lastNumber = 1;
    std::vector<OwnedDescriptor> silent;
};

}  // namespace varnolex::bench
