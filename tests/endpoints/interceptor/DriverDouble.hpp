#pragma once

#include "endpoints/ServiceFixture.hpp"
#include "endpoints/interceptor/InterceptorProtocol.hpp"
#include "platform/ports/MemoryMessagePorts.hpp"

namespace varnolex {

/// A service, message ports in virtual time, and a driver that does what the test says.
class DriverFixture : public ServiceFixture {
protected:
    /// Answers sign-on with `signOnReply` and notes everything else as "ID:number,number".
    void openDriver() {
        std::string failure;
        driver = ports.open(
            interceptorprotocol::driverPortName,
            [this](std::int32_t id, std::span<const std::uint8_t> data) -> std::optional<PortBytes> {
                if (id == interceptorprotocol::signOn) return signOnReply;
                std::string note = std::to_string(id) + ":";
                for (std::size_t at = 0; at + 4 <= data.size(); at += 4)
                    note += (at == 0 ? "" : ",") + std::to_string(packetlayout::numberAt<std::int32_t>(data, at));
                told.push_back(note);
                return std::nullopt;
            },
            failure);
        EXPECT_TRUE(driver) << failure;
    }

    /// Says something to the client with number 7.
    void sayToClient(std::span<const std::uint8_t> data) {
        const auto remote = ports.find("com.varnolex.core.7");
        ASSERT_TRUE(remote);
        remote->send(1234, data, {});
        runtime.settle();
    }
    void forward(std::int32_t uniqueID, const PacketListView& list) {
        PortBytes data;
        interceptorprotocol::writeCopy(uniqueID, list, data);
        sayToClient(data);
    }

    std::vector<std::string> takeTold() {
        runtime.settle();
        return std::exchange(told, {});
    }

    MIDIEndpointRef plug(const std::string& name, std::int32_t uniqueID) {
        const auto destination = service.plugDestination({.displayName = name, .uniqueID = uniqueID});
        runtime.settle();
        return destination;
    }

    PortBytes signOnReply = interceptorprotocol::bytesOf(7);
    std::vector<std::string> told;
    MemoryMessagePorts ports;
    std::unique_ptr<LocalMessagePort> driver;
};

}  // namespace varnolex
