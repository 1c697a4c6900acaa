#include "platform/ports/SocketLocalPort.hpp"

#define ASIO_STANDALONE
// A port's loop is one thread's: asio needs no fences there, which ThreadSanitizer doesn't know.
#define ASIO_DISABLE_FENCED_BLOCK
#include <pthread.h>
#include <signal.h>

#include <cassert>
#include <thread>

#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/steady_timer.hpp>
#include <asio/write.hpp>

#include "platform/ports/PortFrame.hpp"

namespace varnolex {

namespace {

using Protocol = asio::local::stream_protocol;

constexpr std::size_t mostPeers = 64;
constexpr std::size_t pieceSize = 64 * 1024;
/// How long a peer may leave a message half sent, or its reply untaken.
constexpr std::chrono::seconds patience{10};
/// How long to wait for descriptors that the system hasn't got just now.
constexpr std::chrono::milliseconds pause{100};

/// One connected peer. Lives as long as it waits for something.
class PeerSession : public std::enable_shared_from_this<PeerSession> {
public:
    PeerSession(Protocol::socket connected, const PortHandler& portHandler, std::size_t& counter)
        : socket(std::move(connected)), clock(socket.get_executor()), handler(portHandler), peers(counter) {
        ++peers;
    }
    ~PeerSession() { --peers; }

    void receive() {
        // A peer may be silent for as long as it likes, but not in the middle of a message.
        if (reader.isInsideFrame()) startClock();
        socket.async_read_some(asio::buffer(piece),
                               [self = shared_from_this()](asio::error_code error, std::size_t size) {
                                   self->clock.cancel();
                                   if (error) return;
                                   self->reader.feed(std::span<const std::uint8_t>(self->piece).first(size));
                                   self->work();
                               });
    }

private:
    /// Answers what has come, and goes on only when the peer has taken the replies: a peer that asks without listening
    /// waits for itself.
    void work() {
        PortFrame frame;
        while (output.size() < portMessageLimit && reader.next(frame)) answer(frame);
        if (reader.isBroken() || isOver) return;
        if (output.empty()) return receive();
        startClock();
        asio::async_write(socket, asio::buffer(output),
                          [self = shared_from_this()](asio::error_code error, std::size_t) {
                              self->clock.cancel();
                              if (error) return;
                              self->output.clear();
                              self->work();
                          });
    }

    void answer(const PortFrame& frame) {
        // Nobody asked this port's peers to reply to anything.
        isOver = isOver || frame.kind == PortFrame::Kind::reply;
        if (isOver) return;
        const std::optional<PortBytes> reply = handler(frame.id, frame.data);
        if (frame.kind != PortFrame::Kind::request) return;
        assert(!reply || reply->size() <= portMessageLimit);
        const std::span<const std::uint8_t> data =
            reply ? std::span<const std::uint8_t>(*reply) : std::span<const std::uint8_t>();
        PortFrame{PortFrame::Kind::reply, frame.serial, frame.id, data}.appendTo(output);
    }

    void startClock() {
        clock.expires_after(patience);
        clock.async_wait([weakSelf = weak_from_this()](asio::error_code error) {
            const auto self = weakSelf.lock();
            asio::error_code ignored;
            if (!error && self) self->socket.close(ignored);
        });
    }

    Protocol::socket socket;
    asio::steady_timer clock;
    const PortHandler& handler;
    std::size_t& peers;
    PortFrameReader reader;
    PortBytes output;
    PortBytes piece = PortBytes(pieceSize);
    bool isOver = false;
};

}  // namespace

class SocketLocalPort::Server {
public:
    Server(PortHandler portHandler, OwnedDescriptor socket) : handler(std::move(portHandler)) {
        acceptor.assign(Protocol(), socket.release());
        accept();
        // Signals are the main thread's: a new thread inherits the mask of the one that makes it.
        sigset_t all;
        sigset_t former;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &former);
        thread = std::thread([this] { context.run(); });
        pthread_sigmask(SIG_SETMASK, &former, nullptr);
        pthread_setname_np(thread.native_handle(), "varnolex-port");
    }

    ~Server() {
        assert(thread.get_id() != std::this_thread::get_id() && "a handler can't end the port that runs it");
        context.stop();
        thread.join();
    }

private:
    void accept() {
        acceptor.async_accept([this](asio::error_code error, Protocol::socket socket) {
            if (error) return waitForBetterTimes();
            if (peers < mostPeers && PortFolder::isOwnPeer(socket.native_handle()))
                std::make_shared<PeerSession>(std::move(socket), handler, peers)->receive();
            accept();
        });
    }

    void waitForBetterTimes() {
        clock.expires_after(pause);
        clock.async_wait([this](asio::error_code) { accept(); });
    }

    const PortHandler handler;
    std::size_t peers = 0;
    asio::io_context context{1};
    Protocol::acceptor acceptor{context};
    asio::steady_timer clock{context};
    std::thread thread;
};

SocketLocalPort::SocketLocalPort(std::string portName, PortHandler portHandler, PortFolder portFolder,
                                 PortFolder::Listener listener)
    : ownName(std::move(portName)),
      folder(std::move(portFolder)),
      lock(std::move(listener.lock)),
      server(std::make_unique<Server>(std::move(portHandler), std::move(listener.socket))) {}

SocketLocalPort::~SocketLocalPort() {
    server.reset();
    folder.remove(ownName);
}

}  // namespace varnolex
