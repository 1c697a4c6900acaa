#include "bench/HostileProgram.hpp"

#include <sys/socket.h>
#include <sys/un.h>

#include <chrono>

#include "endpoints/interceptor/InterceptorProtocol.hpp"
#include "platform/ports/PortFrame.hpp"

namespace varnolex::bench {

namespace protocol = interceptorprotocol;
using namespace std::chrono_literals;

void HostileProgram::attack() {
    ++count;
    switch (draw(folder.empty() ? 5 : 7)) {
        case 0:
            return sayWrongSizes();
        case 1:
            return signOnAndVanish();
        case 2:
            return wantEverything();
        case 3:
            return sendWrongCopies();
        case 4:
            return floodWithCopies();
        case 5:
            return breakFrames();
        default:
            return staySilent();
    }
}

void HostileProgram::sayWrongSizes() {
    const auto remote = driver();
    if (!remote) return;
    for (std::int32_t id = -1; id < 6; ++id) remote->send(id, noise(draw(40)), 10ms);
    remote->send(protocol::ready, noise(100'000), 10ms);
}

void HostileProgram::signOnAndVanish() {
    const auto remote = driver();
    if (!remote) return;
    for (int each = 0; each < 100; ++each) {
        const auto answer = remote->request(protocol::signOn, {}, 100ms, 100ms);
        if (const auto number = protocol::clientNumberFrom(answer.data)) lastNumber = *number;
    }
}

/// Says that clients are ready which have no port, and asks in everybody's name for destinations that aren't there.
void HostileProgram::wantEverything() {
    const auto remote = driver();
    if (!remote) return;
    remote->send(protocol::ready, protocol::bytesOf(lastNumber), 10ms);
    for (int each = 0; each < 400; ++each) {
        const auto client = lastNumber - static_cast<std::int32_t>(draw(40));
        const auto destination = static_cast<std::int32_t>(1000 + draw(1'000'000));
        remote->send(protocol::startForwarding, protocol::bytesOf({client, destination}), 10ms);
    }
}

void HostileProgram::sendWrongCopies() {
    const auto remote = someClient();
    if (!remote) return;
    for (int each = 0; each < 20; ++each) {
        PortBytes data = noise(8 + draw(200));
        // A destination, then a count that isn't so.
        packetlayout::putNumber(std::span(data), 4, draw(2) == 0 ? std::uint32_t{0xFFFFFFFF} : draw(1000));
        remote->send(0, data, 10ms);
    }
}

void HostileProgram::floodWithCopies() {
    const auto remote = someClient();
    if (!remote) return;
    std::array<std::uint8_t, packetListCapacity> memory;
    PacketListBuilder list(memory);
    while (list.add(draw(1000), noise(1 + draw(60)))) {
    }
    PortBytes data;
    protocol::writeCopy(static_cast<std::int32_t>(draw(4)), list.list(), data);
    for (int each = 0; each < 200; ++each) remote->send(0, data, 0ms);
}

void HostileProgram::breakFrames() {
    const OwnedDescriptor socket = connected();
    if (!socket) return;
    PortBytes bytes;
    const PortBytes data = noise(draw(5000));
    PortFrame{.kind = PortFrame::Kind::message, .serial = 1, .id = 0, .data = data}.appendTo(bytes);
    const std::uint32_t way = draw(3);
    if (way == 0) bytes = noise(draw(100'000));
    // The last number of the header is the length.
    if (way == 1) packetlayout::putNumber(std::span(bytes), PortFrame::headerSize - 4, draw(0xFFFFFFFF));
    if (way == 2) bytes.resize(draw(static_cast<std::uint32_t>(bytes.size())));
    [[maybe_unused]] const auto sent = ::send(socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

void HostileProgram::staySilent() {
    if (silent.size() > 20) silent.clear();
    silent.push_back(connected());
}

std::unique_ptr<RemoteMessagePort> HostileProgram::driver() { return ports.find(protocol::driverPortName); }

std::unique_ptr<RemoteMessagePort> HostileProgram::someClient() {
    if (folder.empty()) return ports.find(protocol::clientPortName(lastNumber - static_cast<std::int32_t>(draw(40))));
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        if (entry.is_socket()) names.push_back(entry.path().filename());
    return names.empty() ? nullptr : ports.find(names[draw(static_cast<std::uint32_t>(names.size()))]);
}

OwnedDescriptor HostileProgram::connected() {
    OwnedDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = folder / protocol::driverPortName;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) socket.reset();
    return socket;
}

PortBytes HostileProgram::noise(std::size_t size) {
    PortBytes bytes(size);
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
    return bytes;
}

}  // namespace varnolex::bench
