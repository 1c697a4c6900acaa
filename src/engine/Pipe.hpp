#pragma once

#include <memory>
#include <string>
#include <vector>

#include "engine/PipeTool.hpp"
#include "engine/ToolChain.hpp"
#include "platform/Runtime.hpp"

namespace varnolex {

/// A named, ordered list of tools with one chain: the linear form of processing that graphs have taken the place of.
/// Main thread.
struct Pipe {
    explicit Pipe(std::string pipeName) : name(std::move(pipeName)) {}

    UUID id = Runtime::current().makeUUID();
    std::string name;
    /// In the order of the chain.
    std::vector<std::shared_ptr<PipeTool>> tools;
    bool isEnabled = true;
    bool isExpanded = true;
    /// The running form, made by the engine.
    std::shared_ptr<ToolChain> chain;

    /// A chain over the tools as they are now.
    std::shared_ptr<ToolChain> makeChain() const { return ToolChain::make(tools, name); }
};

}  // namespace varnolex
