#pragma once

#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "engine/ChainMessage.hpp"
#include "engine/PipeTool.hpp"
#include "platform/concurrency/ChainLock.hpp"
#include "platform/concurrency/ExitSlot.hpp"

namespace varnolex {

/// What a chain does with a message that has passed its last tool. Called on real-time threads, under the lock of
/// the walk; immutable once it is set.
class ChainExit {
public:
    virtual ~ChainExit() = default;
    virtual void deliver(const ChainMessage& message) noexcept = 0;
};

/// Walks a message through an ordered list of tools to an exit. The list is fixed: whoever wants another one makes
/// a new chain. A node of a graph owns a chain of one tool, whose exit feeds the chains downstream.
///
/// Three kinds of thread enter a chain: the input thread, tools' queues and the main thread. A walk is serialised
/// by `chainLock`, which is recursive and held from the entry to the end of the walk, downstream chains included.
/// Chains that feed each other may share one lock, so that a walk takes it once.
class ToolChain : public std::enable_shared_from_this<ToolChain> {
public:
    /// A chain over `tools`, with a lock of its own when none is given.
    static std::shared_ptr<ToolChain> make(std::vector<std::shared_ptr<PipeTool>> tools, std::string pipeName,
                                           std::shared_ptr<ChainLock> lock = nullptr);

    /// The top entry: the message goes to the first tool. A control change moves the parameters that are bound
    /// to it on its way. Any thread.
    void send(const ChainMessage& message) noexcept;

    /// The same for whoever is inside a walk of a chain with the same lock: an exit that feeds the next chain.
    void sendInWalk(const ChainMessage& message) noexcept;

    /// The step to the next tool, or out of the exit. Called by a tool, inside `process` or later. From outside
    /// any walk it goes on behind the first tool. Any thread.
    void forward(const ChainMessage& message) noexcept;

    /// Hands a message to the exit past the remaining tools. Any thread.
    void sendToExit(const ChainMessage& message) noexcept;

    /// Runs `work` as a walk of its own: for a tool's queue that touches what the tool remembers and forwards from
    /// there. Any thread.
    template <class Work>
    void enter(Work&& work) {
        const std::scoped_lock walk(*chainLock);
        std::forward<Work>(work)();
    }

    /// The same unless another thread is in a walk: then nothing is done, and false comes back at once. For whoever
    /// mustn't wait for a tool that is held up. Any thread.
    template <class Work>
    bool enterIfFree(Work&& work) {
        const std::unique_lock walk(*chainLock, std::try_to_lock);
        if (walk) std::forward<Work>(work)();
        return walk.owns_lock();
    }

    std::span<const std::shared_ptr<PipeTool>> tools() const { return toolList; }

    /// Where the running walk stands: the index of the tool now running, 0 at rest. For a tool inside `process`.
    std::size_t currentIndex() const { return index; }

    // Main thread

    /// Replaces the exit; an empty one ends every message. Walks that are under way may still use the old one.
    void setMessageDidExit(std::unique_ptr<ChainExit> exit);

    /// Frees exits that were replaced while a walk was under way. True when none is left.
    bool reclaimExits() { return messageDidExit.reclaim(*chainLock); }

    /// The name of the graph or pipe, for those who show where a message came from.
    const std::string& pipeName() const { return shownName; }
    void setPipeName(std::string name) { shownName = std::move(name); }

private:
    ToolChain(std::vector<std::shared_ptr<PipeTool>> tools, std::string name, std::shared_ptr<ChainLock> lock);

    void walkFrom(std::size_t place, const ChainMessage& message) noexcept;
    void sendFromWithin(const ChainMessage& message) noexcept;
    void forwardFromOutside(const ChainMessage& message) noexcept;
    void leave(const ChainMessage& message) noexcept;
    void applyBindings(const ChainMessage& message) noexcept;

    // What a walk reads stands together.
    const std::vector<std::shared_ptr<PipeTool>> toolList;
    PipeTool* const firstTool;
    const std::size_t toolCount;
    std::size_t index = 0;
    const std::shared_ptr<ChainLock> chainLock;
    ExitSlot<ChainExit> messageDidExit;
    std::string shownName;
};

}  // namespace varnolex
