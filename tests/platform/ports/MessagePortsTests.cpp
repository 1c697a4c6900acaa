#include <gmock/gmock.h>

#include "platform/VirtualRuntime.hpp"
#include "platform/ports/MemoryMessagePorts.hpp"
#include "platform/ports/PortBench.hpp"
#include "platform/ports/PortFrame.hpp"

namespace varnolex {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

struct SocketBench {
    void settle() {}
    TemporaryFolder folder;
    SocketMessagePorts ports{folder.path / "sockets"};
};

struct MemoryBench {
    void settle() { runtime.settle(); }
    VirtualRuntime runtime;
    RuntimeScope scope{runtime};
    MemoryMessagePorts ports;
};

struct Heard {
    std::int32_t id;
    std::size_t size;
    bool operator==(const Heard&) const = default;
};

template <class Bench>
class MessagePortsTest : public testing::Test {
protected:
    /// A port that gives every message back, and nothing for an ID of 0.
    std::unique_ptr<LocalMessagePort> openEcho(const std::string& name) {
        return bench.ports.open(
            name,
            [this](std::int32_t id, std::span<const std::uint8_t> data) -> std::optional<PortBytes> {
                heard.put({id, data.size()});
                if (id == 0) return std::nullopt;
                return PortBytes(data.begin(), data.end());
            },
            failure);
    }

    Arrivals<Heard> heard;
    std::string failure;
    Bench bench;
};

using EveryBench = testing::Types<SocketBench, MemoryBench>;
TYPED_TEST_SUITE(MessagePortsTest, EveryBench);

TYPED_TEST(MessagePortsTest, CarriesMessagesInOrderAndRepliesToThoseWhoWait) {
    const auto port = this->openEcho("com.varnolex.core.7");
    ASSERT_TRUE(port) << this->failure;
    const auto remote = this->bench.ports.find(port->name());
    ASSERT_TRUE(remote);
    const PortBytes whole(portMessageLimit, 0x42);
    EXPECT_EQ(remote->send(-5, {}, 5s), PortOutcome::success);
    EXPECT_EQ(remote->send(6, whole, 5s), PortOutcome::success);
    EXPECT_EQ(remote->request(7, whole, 5s, 5s).data, whole);
    const auto empty = remote->request(0, PortBytes{1}, 5s, 5s);
    EXPECT_EQ(empty.outcome, PortOutcome::success);
    EXPECT_TRUE(empty.data.empty());
    EXPECT_EQ(remote->send(8, PortBytes(portMessageLimit + 1), 5s), PortOutcome::tooLarge);
    EXPECT_EQ(remote->send(9, PortBytes{1, 2}, 5s), PortOutcome::success);
    this->bench.settle();
    EXPECT_THAT(this->heard.waitFor(5), ElementsAre(Heard{-5, 0}, Heard{6, portMessageLimit},
                                                    Heard{7, portMessageLimit}, Heard{0, 1}, Heard{9, 2}));
}

TYPED_TEST(MessagePortsTest, ANameHasOneOwnerAndIsFreeAgainAfterIt) {
    EXPECT_FALSE(this->bench.ports.find("com.varnolex.core"));
    auto port = this->openEcho("com.varnolex.core");
    ASSERT_TRUE(port);
    EXPECT_FALSE(this->openEcho("com.varnolex.core"));
    EXPECT_EQ(this->failure, "com.varnolex.core: another program has this port");
    const auto remote = this->bench.ports.find("com.varnolex.core");
    ASSERT_TRUE(remote);
    EXPECT_TRUE(remote->isAlive());
    port.reset();
    EXPECT_FALSE(remote->isAlive());
    EXPECT_EQ(remote->send(1, {}, 5s), PortOutcome::gone);
    EXPECT_EQ(remote->request(1, {}, 5s, 5s).outcome, PortOutcome::gone);
    EXPECT_FALSE(this->bench.ports.find("com.varnolex.core"));
    port = this->openEcho("com.varnolex.core");
    ASSERT_TRUE(port);
    EXPECT_EQ(remote->send(1, {}, 5s), PortOutcome::gone) << "the new owner isn't the one that was found";
    EXPECT_EQ(this->bench.ports.find("com.varnolex.core")->request(3, PortBytes{9}, 5s, 5s).data, PortBytes{9});
}

TYPED_TEST(MessagePortsTest, NamesThatCouldLeaveTheFolderAreRefused) {
    for (const std::string name : {"", "..", ".hidden", "a/b", "../up", "a b", "a\n"}) {
        EXPECT_FALSE(this->openEcho(name)) << name;
        EXPECT_FALSE(this->bench.ports.find(name)) << name;
    }
    EXPECT_FALSE(this->openEcho(std::string(65, 'a')));
    EXPECT_FALSE(this->openEcho(std::string("a\0b", 3)));
    EXPECT_TRUE(this->openEcho(std::string(64, 'a')));
}

TEST(PortFrame, IsReadHoweverTheStreamComesInPieces) {
    PortBytes stream;
    const PortBytes data{1, 2, 3, 4, 5};
    PortFrame{PortFrame::Kind::request, 7, -1, data}.appendTo(stream);
    PortFrame{PortFrame::Kind::message, 8, 2, {}}.appendTo(stream);
    PortFrame{PortFrame::Kind::reply, 9, 3, data}.appendTo(stream);
    for (std::size_t piece = 1; piece <= stream.size(); ++piece) {
        PortFrameReader reader;
        std::vector<std::string> frames;
        for (std::size_t at = 0; at < stream.size(); at += piece) {
            reader.feed(std::span<const std::uint8_t>(stream).subspan(at, std::min(piece, stream.size() - at)));
            PortFrame frame;
            while (reader.next(frame))
                frames.push_back(std::to_string(static_cast<int>(frame.kind)) + ":" + std::to_string(frame.serial) +
                                 ":" + std::to_string(frame.id) + ":" + std::to_string(frame.data.size()));
        }
        EXPECT_THAT(frames, ElementsAre("1:7:-1:5", "0:8:2:0", "2:9:3:5")) << piece;
        EXPECT_FALSE(reader.isBroken());
        EXPECT_FALSE(reader.isInsideFrame());
    }
}

}  // namespace
}  // namespace varnolex
