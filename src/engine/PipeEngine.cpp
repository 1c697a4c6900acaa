#include "engine/PipeEngine.hpp"

#include <algorithm>

#include "platform/DiagnosticLog.hpp"

namespace varnolex {

PipeEngine::~PipeEngine() {
    // Chains may outlive the engine, and keep the tap.
    tap->setHandler(nullptr);
}

void PipeEngine::rewire(Pipe& pipe) {
    pipe.chain = pipe.makeChain();
    pipe.chain->setMessageDidExit(std::make_unique<TerminalExit>(tap, std::make_shared<const std::string>(pipe.name)));
    const std::uint8_t pipeIndex = indexOf(pipe);
    DiagnosticLog* const recorder = DiagnosticLog::shared();
    for (std::size_t index = 0; index < pipe.tools.size(); ++index) {
        PipeTool& tool = *pipe.tools[index];
        if (recorder)
            recorder->tool(pipeIndex, index, static_cast<std::uint8_t>(varnolex::indexOf(tool.toolType())),
                           tool.isEnabled());
        tool.chainWasWired(pipeIndex);
    }
    if (recorder) recorder->rebuildEnded(pipeIndex, pipe.tools.size(), 0);
}

/// Pipes beyond the range of the index share its last number.
std::uint8_t PipeEngine::indexOf(const Pipe& pipe) const {
    const auto found = std::ranges::find_if(pipes, [&](const auto& each) { return each.get() == &pipe; });
    if (found == pipes.end()) return 0;
    return static_cast<std::uint8_t>(std::min<std::ptrdiff_t>(found - pipes.begin(), 254));
}

}  // namespace varnolex
