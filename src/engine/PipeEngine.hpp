#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "engine/Pipe.hpp"
#include "engine/RoutedMessageTap.hpp"

namespace varnolex {

/// Holds the pipes, none in ordinary use. Main thread.
class PipeEngine {
public:
    PipeEngine() = default;
    ~PipeEngine();
    PipeEngine(const PipeEngine&) = delete;
    PipeEngine& operator=(const PipeEngine&) = delete;

    std::vector<std::shared_ptr<Pipe>> pipes;

    /// The client of the MIDI service, 0 until there is one.
    std::uint32_t clientRef = 0;

    /// Where a copy of every message goes that leaves a pipe.
    void setRoutedMessageHandler(RoutedMessageTap::Handler handler) { tap->setHandler(std::move(handler)); }

    /// Makes the running form anew, after a change of the pipe's tools or settings.
    void rewire(Pipe& pipe);

private:
    std::uint8_t indexOf(const Pipe& pipe) const;

    std::shared_ptr<RoutedMessageTap> tap = std::make_shared<RoutedMessageTap>();
};

}  // namespace varnolex
