// USES endpoints
#include <algorithm>
#include <vector>

#include "FuzzInput.hpp"
#include "endpoints/interceptor/InterceptorProtocol.hpp"
#include "endpoints/tap/TapDesk.hpp"
#include "platform/ports/PortFrame.hpp"

namespace varnolex {
namespace {

namespace protocol = interceptorprotocol;

struct HeldFrame {
    PortFrame::Kind kind;
    std::uint32_t serial;
    std::int32_t id;
    PortBytes data;

    bool operator==(const HeldFrame&) const = default;
};

struct Reading {
    std::vector<HeldFrame> frames;
    bool isBroken = false;
};

Reading readInPieces(std::span<const std::uint8_t> stream, std::size_t piece) {
    Reading reading;
    PortFrameReader reader;
    for (std::size_t at = 0; at < stream.size(); at += piece) {
        reader.feed(stream.subspan(at, std::min(piece, stream.size() - at)));
        PortFrame frame;
        while (reader.next(frame)) {
            require(frame.data.size() <= portMessageLimit, "no frame is longer than the limit");
            reading.frames.push_back({frame.kind, frame.serial, frame.id, {frame.data.begin(), frame.data.end()}});
        }
    }
    reading.isBroken = reader.isBroken();
    return reading;
}

void readCopy(const PortBytes& data) {
    const auto copy = protocol::copyFrom(data);
    if (!copy) return;
    std::uint32_t packets = 0;
    unsigned sum = 0;
    for (const Packet& packet : copy->list) {
        ++packets;
        for (const std::uint8_t byte : packet.bytes) sum += byte;
    }
    require(packets == copy->list.count(), "a copy holds every packet that it claims");
    PortBytes again;
    protocol::writeCopy(copy->destinationUniqueID, copy->list, again);
    require(again.size() <= data.size() && std::equal(again.begin(), again.end(), data.begin()),
            "a copy is written as it was read");
    static volatile unsigned kept;
    kept = sum;
}

void checkDesk(const TapDesk& desk) {
    require(desk.all().size() <= TapDesk::clientLimit, "the clients are bounded");
    for (const auto& [number, client] : desk.all()) {
        require(number > 0, "a client's number is positive");
        require(client.wanted.size() <= TapDesk::destinationLimit, "a client's wishes are bounded");
    }
}

}  // namespace
}  // namespace varnolex

/// Feeds any bytes to a port: the first one says in which pieces they come. What comes out goes to both ends of the
/// driver's protocol.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace varnolex;
    if (size == 0) return 0;
    const std::span<const std::uint8_t> stream(data + 1, size - 1);
    const Reading whole = readInPieces(stream, std::max<std::size_t>(stream.size(), 1));
    const Reading cut = readInPieces(stream, std::size_t{data[0]} + 1);
    require(whole.frames == cut.frames && whole.isBroken == cut.isBroken, "pieces make no difference");

    // Near the end of the numbers, so that they begin anew.
    TapDesk desk(0x7FFFFFFE);
    for (const HeldFrame& frame : whole.frames) {
        readCopy(frame.data);
        const auto reply = desk.take(frame.id, frame.data);
        require(!reply || protocol::clientNumberFrom(*reply), "a reply is a number");
        checkDesk(desk);
    }
    return 0;
}
