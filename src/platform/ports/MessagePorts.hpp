#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/HostTime.hpp"

namespace varnolex {

/// No message and no reply between two programs is longer.
inline constexpr std::size_t portMessageLimit = 1024 * 1024;

using PortBytes = std::vector<std::uint8_t>;

/// Takes one message, whose data is valid during the call only, and gives the reply for a sender that waits for one:
/// nothing stands for an empty reply. Runs on the port's own thread, one message at a time. Must not throw. Whatever
/// the sender says comes from another program: sizes and values are the handler's to check.
using PortHandler = std::function<std::optional<PortBytes>(std::int32_t id, std::span<const std::uint8_t> data)>;

/// How sending went.
enum class PortOutcome {
    /// The message is on its way, and for a request its reply has come.
    success,
    /// The receiver didn't take the message, or didn't reply, in time.
    timedOut,
    /// The receiver is gone or speaks nonsense; the remote port stays useless.
    gone,
    /// The message is longer than `portMessageLimit`.
    tooLarge,
};

/// A named port of this program that receives until it goes away. Once its destructor has returned the handler isn't
/// called again; the handler itself must not end its port.
class LocalMessagePort {
public:
    virtual ~LocalMessagePort() = default;
    virtual const std::string& name() const = 0;
};

/// The sending end towards a port, of another program or of this one. Any thread, one at a time, but never one of the
/// processing road. Messages of one remote port arrive in order.
class RemoteMessagePort {
public:
    struct Answer {
        PortOutcome outcome = PortOutcome::gone;
        PortBytes data;
    };

    virtual ~RemoteMessagePort() = default;

    /// Sends a message and waits for no reply. A `timeout` of 0 never waits at all. A message that the receiver has
    /// begun to take counts as sent: its rest goes out before the next one, or by `flush`.
    virtual PortOutcome send(std::int32_t id, std::span<const std::uint8_t> data, Nanoseconds timeout) = 0;

    /// Sends a message and waits for the reply, each for at most its own time.
    virtual Answer request(std::int32_t id, std::span<const std::uint8_t> data, Nanoseconds sendTimeout,
                           Nanoseconds receiveTimeout) = 0;

    /// Sends on, without waiting, what is left of a message that was begun.
    virtual void flush() = 0;

    /// False once the receiver is known to be gone. Doesn't wait.
    virtual bool isAlive() = 0;
};

/// The message ports of the system, by name: letters, digits, points and hyphens, 64 at most.
class MessagePorts {
public:
    virtual ~MessagePorts() = default;

    /// Makes a port of this program under a name that no living program has. Without success `failure` is a sentence
    /// that says why.
    virtual std::unique_ptr<LocalMessagePort> open(const std::string& name, PortHandler handler,
                                                   std::string& failure) = 0;

    /// The port of that name, or nothing when no living program has it.
    virtual std::unique_ptr<RemoteMessagePort> find(const std::string& name) = 0;

    /// Whether a port may be called so.
    static bool isName(const std::string& name);
};

}  // namespace varnolex
