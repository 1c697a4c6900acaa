#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>

#include "platform/concurrency/LiveValue.hpp"

struct _jack_client;

namespace varnolex {

/// Who is connected to whom on a JACK server, and the hand that changes it: a client of its own without ports. Main
/// thread.
class JackConnections {
public:
    /// Null when there is no server. `onChange` runs on a thread of JACK when anything was connected or disconnected,
    /// and must not call JACK. An empty `serverName` stands for the default server.
    static std::unique_ptr<JackConnections> open(const std::string& clientName, const std::string& serverName,
                                                 std::function<void()> onChange);
    ~JackConnections();
    JackConnections(const JackConnections&) = delete;
    JackConnections& operator=(const JackConnections&) = delete;

    /// The full names of the ports that are connected to this one; none when it isn't there.
    std::set<std::string> of(const std::string& port) const;

    void connect(const std::string& source, const std::string& destination);
    void disconnect(const std::string& source, const std::string& destination);

    /// False once the server has gone, as far as it said so.
    bool isAlive() const { return !isGone.get(); }

private:
    struct Callbacks;

    JackConnections(_jack_client* opened, std::function<void()> onChange)
        : client(opened), changed(std::move(onChange)) {}

    _jack_client* const client;
    const std::function<void()> changed;
    SharedValue<bool> isGone{false};
};

}  // namespace varnolex
