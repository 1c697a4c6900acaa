#include <gmock/gmock.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <future>

#include "platform/ports/PortBench.hpp"
#include "platform/ports/PortFrame.hpp"

namespace varnolex {
namespace {

using namespace std::chrono_literals;

class SocketPortsTest : public testing::Test {
protected:
    std::unique_ptr<LocalMessagePort> open(PortHandler handler) {
        return ports.open(name, std::move(handler), failure);
    }

    std::unique_ptr<LocalMessagePort> openEcho() {
        return open(
            [](std::int32_t, std::span<const std::uint8_t> data) { return PortBytes(data.begin(), data.end()); });
    }

    /// A peer that keeps to no rule.
    OwnedDescriptor connectRaw() {
        const PortFolder opened = PortFolder::open(path, false, failure);
        return opened.connect(name);
    }

    static void sendRaw(const OwnedDescriptor& peer, std::span<const std::uint8_t> bytes) {
        ::send(peer.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }

    /// Reads until the port hangs up. False when it doesn't within 20 s.
    static bool isHungUpOn(const OwnedDescriptor& peer) {
        std::array<std::uint8_t, 4096> piece;
        pollfd interest{peer.get(), POLLIN, 0};
        while (::poll(&interest, 1, 20'000) == 1)
            if (::recv(peer.get(), piece.data(), piece.size(), 0) <= 0) return true;
        return false;
    }

    mode_t modeOf(const std::filesystem::path& file) {
        struct stat status {};
        EXPECT_EQ(::lstat(file.c_str(), &status), 0);
        return status.st_mode & 0777;
    }

    const std::string name = "com.varnolex.core";
    TemporaryFolder folder;
    const std::filesystem::path path = folder.path / "sockets";
    SocketMessagePorts ports{path};
    std::string failure;
};

PortBytes frameBytes(std::uint32_t mark, std::uint32_t kind, std::uint32_t length, std::size_t dataSize) {
    const std::array<std::uint32_t, 5> numbers{mark, kind, 1, 0, length};
    PortBytes bytes(sizeof numbers + dataSize);
    std::memcpy(bytes.data(), numbers.data(), sizeof numbers);
    return bytes;
}

TEST_F(SocketPortsTest, AHostilePeerHarmsOnlyItself) {
    struct Case {
        const char* what;
        PortBytes bytes;
        /// Whether the port hangs up by itself; otherwise the peer dies in the middle of what it says.
        bool isHungUp;
    };
    const PortBytes good = frameBytes(PortFrame::mark, 1, 4, 4);
    PortBytes goodThenBad = good;
    const PortBytes bad = frameBytes(1, 0, 0, 0);
    goodThenBad.insert(goodThenBad.end(), bad.begin(), bad.end());
    PortBytes flood;
    for (int count = 0; count < 5000; ++count) flood.insert(flood.end(), good.begin(), good.end());
    const std::vector<Case> cases{
        {"nothing at all", {}, false},
        {"half a header", PortBytes(good.begin(), good.begin() + 7), false},
        {"half of the data", PortBytes(good.begin(), good.end() - 1), false},
        {"a wrong mark", frameBytes(0xFFFFFFFF, 0, 0, 0), true},
        {"an unknown kind", frameBytes(PortFrame::mark, 3, 0, 0), true},
        {"a reply that nobody asked for", frameBytes(PortFrame::mark, 2, 0, 0), true},
        {"a length just beyond the limit", frameBytes(PortFrame::mark, 0, portMessageLimit + 1, 0), true},
        {"the greatest length", frameBytes(PortFrame::mark, 0, 0xFFFFFFFF, 100), true},
        {"text", PortBytes(3000, 'x'), true},
        {"a good message before nonsense", goodThenBad, true},
        {"questions without taking the answers", flood, false},
    };
    const auto port = openEcho();
    ASSERT_TRUE(port) << failure;
    const auto friendly = ports.find(name);
    for (const Case& hostile : cases) {
        OwnedDescriptor peer = connectRaw();
        ASSERT_TRUE(peer) << hostile.what;
        sendRaw(peer, hostile.bytes);
        if (hostile.isHungUp) {
            EXPECT_TRUE(isHungUpOn(peer)) << hostile.what;
        }
        EXPECT_EQ(friendly->request(1, PortBytes{1, 2}, 5s, 20s).data, (PortBytes{1, 2})) << hostile.what;
        peer.reset();
        EXPECT_EQ(friendly->request(1, PortBytes{3}, 5s, 20s).data, PortBytes{3}) << hostile.what;
    }
}

TEST_F(SocketPortsTest, ACrowdOfPeersIsTurnedAwayAndThoseInsideAreServed) {
    const auto port = openEcho();
    const auto friendly = ports.find(name);
    ASSERT_EQ(friendly->request(1, {}, 5s, 20s).outcome, PortOutcome::success);
    std::vector<OwnedDescriptor> crowd;
    for (int count = 0; count < 64; ++count) crowd.push_back(connectRaw());
    EXPECT_TRUE(isHungUpOn(crowd.back()));
    EXPECT_EQ(friendly->request(1, PortBytes{4}, 5s, 20s).data, PortBytes{4});
    crowd.clear();
    // The port hears of the departures in the order in which they came, before the next question.
    EXPECT_EQ(friendly->request(1, PortBytes{5}, 5s, 20s).data, PortBytes{5});
    PortOutcome outcome = PortOutcome::gone;
    for (int attempt = 0; attempt < 1000 && outcome != PortOutcome::success; ++attempt)
        outcome = ports.find(name)->request(1, {}, 5s, 20s).outcome;
    EXPECT_EQ(outcome, PortOutcome::success);
}

TEST_F(SocketPortsTest, AReceiverThatStallsCostsNoMoreThanTheTimeOutAndGetsWholeMessagesLater) {
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    Arrivals<std::int32_t> entered;
    Arrivals<std::pair<std::int32_t, bool>> heard;
    const auto port = open([&](std::int32_t id, std::span<const std::uint8_t> data) -> std::optional<PortBytes> {
        entered.put(id);
        released.wait();
        const auto expected = static_cast<std::uint8_t>(id);
        heard.put({id, std::all_of(data.begin(), data.end(), [&](auto byte) { return byte == expected; })});
        return std::nullopt;
    });
    const auto remote = ports.find(name);
    EXPECT_EQ(remote->send(0, {}, 5s), PortOutcome::success);
    entered.waitFor(1);
    std::vector<std::int32_t> accepted{0};
    PortOutcome outcome = PortOutcome::success;
    for (std::int32_t id = 1; id < 10'000 && outcome == PortOutcome::success; ++id) {
        outcome = remote->send(id, PortBytes(70'001, static_cast<std::uint8_t>(id)), 0s);
        if (outcome == PortOutcome::success) accepted.push_back(id);
    }
    EXPECT_EQ(outcome, PortOutcome::timedOut);
    EXPECT_EQ(remote->send(1, PortBytes(70'001), 1ms), PortOutcome::timedOut);
    EXPECT_TRUE(remote->isAlive());
    release.set_value();
    EXPECT_EQ(remote->request(77, PortBytes(3, 77), 20s, 20s).outcome, PortOutcome::success);
    accepted.push_back(77);
    std::vector<std::int32_t> ids;
    for (const auto& [id, isWhole] : heard.waitFor(accepted.size())) {
        ids.push_back(id);
        EXPECT_TRUE(isWhole) << id;
    }
    EXPECT_EQ(ids, accepted);
}

TEST_F(SocketPortsTest, ALateReplyIsNotTakenForTheNextOne) {
    std::promise<void> release;
    const auto port = open([&, released = release.get_future().share()](std::int32_t id, auto) {
        if (id == 1) released.wait();
        return PortBytes{static_cast<std::uint8_t>(id)};
    });
    const auto remote = ports.find(name);
    EXPECT_EQ(remote->request(1, {}, 5s, 1ms).outcome, PortOutcome::timedOut);
    release.set_value();
    EXPECT_EQ(remote->request(2, {}, 5s, 20s).data, PortBytes{2});
}

TEST_F(SocketPortsTest, AProgramThatDiesSuddenlyLeavesItsNameToTheNext) {
    std::array<int, 2> ready{};
    ASSERT_EQ(::pipe(ready.data()), 0);
    const pid_t child = runInChild([&] {
        const auto port = openEcho();
        const char answer = port ? 'y' : 'n';
        if (::write(ready[1], &answer, 1) == 1) ::pause();
    });
    char answer = 0;
    ASSERT_EQ(::read(ready[0], &answer, 1), 1);
    ASSERT_EQ(answer, 'y');
    const auto remote = ports.find(name);
    ASSERT_TRUE(remote);
    EXPECT_EQ(remote->request(1, PortBytes{1}, 5s, 20s).data, PortBytes{1});
    EXPECT_FALSE(openEcho()) << "a living program keeps its name";

    // Stopped, it takes nothing, and costs no more than the time-out.
    ::kill(child, SIGSTOP);
    ::waitpid(child, nullptr, WUNTRACED);
    EXPECT_EQ(remote->request(1, {}, 1ms, 1ms).outcome, PortOutcome::timedOut);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    EXPECT_FALSE(remote->isAlive());
    EXPECT_EQ(remote->send(1, {}, 5s), PortOutcome::gone);
    EXPECT_FALSE(ports.find(name)) << "its socket still lies there";
    EXPECT_TRUE(std::filesystem::exists(path / name));
    const auto port = openEcho();
    ASSERT_TRUE(port) << failure;
    EXPECT_EQ(ports.find(name)->request(1, PortBytes{2}, 5s, 20s).data, PortBytes{2});
    ::close(ready[0]);
    ::close(ready[1]);
}

TEST_F(SocketPortsTest, TheFolderIsPrivateToTheUser) {
    std::filesystem::create_directory(path);
    ::chmod(path.c_str(), 0777);
    auto port = openEcho();
    ASSERT_TRUE(port);
    EXPECT_EQ(modeOf(path), 0700u);
    port.reset();
    EXPECT_TRUE(std::filesystem::is_empty(path)) << "nothing stays behind";

    const auto elsewhere = folder.path / "link";
    std::filesystem::create_directory_symlink(path, elsewhere);
    SocketMessagePorts overLink(elsewhere);
    EXPECT_FALSE(overLink.open(name, {}, failure));
    if (::chown(path.c_str(), 12345, 12345) == 0) {
        EXPECT_FALSE(openEcho());
        EXPECT_THAT(failure, testing::HasSubstr("belongs to another user"));
    }
}

TEST_F(SocketPortsTest, APathLongerThanAnAddressServesAsWell) {
    std::filesystem::path deep = folder.path;
    for (int level = 0; level < 3; ++level) std::filesystem::create_directory(deep /= std::string(100, 'd'));
    SocketMessagePorts far(deep / "sockets");
    const auto port = far.open(
        name, [](std::int32_t, auto) { return PortBytes{8}; }, failure);
    ASSERT_TRUE(port) << failure;
    EXPECT_EQ(far.find(name)->request(1, {}, 5s, 20s).data, PortBytes{8});
}

}  // namespace
}  // namespace varnolex
