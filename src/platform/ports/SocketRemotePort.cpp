#include "platform/ports/SocketRemotePort.hpp"

#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "platform/MonotonicTime.hpp"

namespace varnolex {

namespace {

HostTime deadlineAfter(Nanoseconds timeout) {
    return monotonicTime() + static_cast<HostTime>(std::max<Nanoseconds::rep>(timeout.count(), 0));
}

bool mustWait(int code) { return code == EAGAIN || code == EWOULDBLOCK; }

/// Sends what goes without waiting: the number of bytes, or -1.
ssize_t sendPieces(int socket, std::span<const std::uint8_t> first, std::span<const std::uint8_t> second) {
    std::array<iovec, 2> pieces{{{const_cast<std::uint8_t*>(first.data()), first.size()},
                                 {const_cast<std::uint8_t*>(second.data()), second.size()}}};
    msghdr message{};
    message.msg_iov = pieces.data();
    message.msg_iovlen = pieces.size();
    for (;;) {
        const ssize_t sent = ::sendmsg(socket, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent >= 0 || errno != EINTR) return sent;
    }
}

}  // namespace

PortOutcome SocketRemotePort::send(std::int32_t id, std::span<const std::uint8_t> data, Nanoseconds timeout) {
    return sendFrame({PortFrame::Kind::message, ++lastSerial, id, data}, timeout);
}

RemoteMessagePort::Answer SocketRemotePort::request(std::int32_t id, std::span<const std::uint8_t> data,
                                                    Nanoseconds sendTimeout, Nanoseconds receiveTimeout) {
    const std::uint32_t serial = ++lastSerial;
    Answer answer;
    answer.outcome = sendFrame({PortFrame::Kind::request, serial, id, data}, sendTimeout);
    const HostTime deadline = deadlineAfter(receiveTimeout);
    while (answer.outcome == PortOutcome::success) {
        PortFrame frame;
        while (reader.next(frame)) {
            if (frame.kind != PortFrame::Kind::reply) return {giveUp(), {}};
            // What was asked before and given up is answered late, and of no interest now.
            if (frame.serial == serial) return {PortOutcome::success, PortBytes(frame.data.begin(), frame.data.end())};
        }
        if (reader.isBroken()) return {giveUp(), {}};
        answer.outcome = receive(deadline);
    }
    return answer;
}

void SocketRemotePort::flush() { flushUntil(monotonicTime()); }

bool SocketRemotePort::isAlive() {
    if (!socket) return false;
    pollfd interest{socket.get(), POLLRDHUP, 0};
    if (::poll(&interest, 1, 0) == 1) giveUp();
    return bool(socket);
}

PortOutcome SocketRemotePort::sendFrame(const PortFrame& frame, Nanoseconds timeout) {
    if (frame.data.size() > portMessageLimit) return PortOutcome::tooLarge;
    if (!socket) return PortOutcome::gone;
    const HostTime deadline = deadlineAfter(timeout);
    if (const PortOutcome before = flushUntil(deadline); before != PortOutcome::success) return before;
    const PortFrame::Header header = frame.header();
    for (;;) {
        const ssize_t sent = sendPieces(socket.get(), header, frame.data);
        if (sent == static_cast<ssize_t>(header.size() + frame.data.size())) return PortOutcome::success;
        if (sent >= 0) {
            frame.appendTo(rest);
            rest.erase(rest.begin(), rest.begin() + sent);
            break;
        }
        if (!mustWait(errno)) return giveUp();
        const PortOutcome waited = waitFor(POLLOUT, deadline);
        if (waited != PortOutcome::success) return waited;
    }
    return flushUntil(deadline) == PortOutcome::gone ? PortOutcome::gone : PortOutcome::success;
}

PortOutcome SocketRemotePort::flushUntil(HostTime deadline) {
    while (!rest.empty()) {
        const ssize_t sent = sendPieces(socket.get(), rest, {});
        if (sent >= 0) {
            rest.erase(rest.begin(), rest.begin() + sent);
        } else if (!mustWait(errno)) {
            return giveUp();
        } else if (const PortOutcome waited = waitFor(POLLOUT, deadline); waited != PortOutcome::success) {
            return waited;
        }
    }
    return PortOutcome::success;
}

PortOutcome SocketRemotePort::waitFor(short event, HostTime deadline) {
    constexpr HostTime ticksPerMillisecond = ticksPerSecond / 1000;
    constexpr HostTime longestWait = 3'600'000;
    for (;;) {
        const HostTime now = monotonicTime();
        if (now >= deadline) return PortOutcome::timedOut;
        // Rounded up, so that the last part of a millisecond isn't spent spinning.
        const HostTime wait = std::min((deadline - now) / ticksPerMillisecond + 1, longestWait);
        pollfd interest{socket.get(), event, 0};
        const int ready = ::poll(&interest, 1, static_cast<int>(wait));
        // A failure shows in the call that was waited for.
        if (ready > 0) return PortOutcome::success;
        if (ready < 0 && errno != EINTR) return giveUp();
    }
}

PortOutcome SocketRemotePort::receive(HostTime deadline) {
    std::array<std::uint8_t, 16 * 1024> piece;
    for (;;) {
        const ssize_t size = ::recv(socket.get(), piece.data(), piece.size(), MSG_DONTWAIT);
        if (size > 0) {
            reader.feed(std::span<const std::uint8_t>(piece).first(static_cast<std::size_t>(size)));
            return PortOutcome::success;
        }
        if (size == 0 || (errno != EINTR && !mustWait(errno))) return giveUp();
        const PortOutcome waited = waitFor(POLLIN, deadline);
        if (waited != PortOutcome::success) return waited;
    }
}

PortOutcome SocketRemotePort::giveUp() {
    socket.reset();
    rest.clear();
    return PortOutcome::gone;
}

}  // namespace varnolex
