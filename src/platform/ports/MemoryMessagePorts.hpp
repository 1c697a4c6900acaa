#pragma once

#include <map>

#include "platform/ports/MessagePorts.hpp"

namespace varnolex {

/// Message ports inside one program and on one thread, in the time of a virtual runtime: messages arrive as tasks of
/// the instant in which they were sent, and a request delivers what is under way before it. Time-outs never pass.
class MemoryMessagePorts final : public MessagePorts {
public:
    MemoryMessagePorts();
    ~MemoryMessagePorts() override;

    std::unique_ptr<LocalMessagePort> open(const std::string& name, PortHandler handler, std::string& failure) override;
    std::unique_ptr<RemoteMessagePort> find(const std::string& name) override;

private:
    class Box;
    class Local;
    class Remote;
    using Boxes = std::map<std::string, std::weak_ptr<Box>>;

    Boxes boxes;
};

}  // namespace varnolex
