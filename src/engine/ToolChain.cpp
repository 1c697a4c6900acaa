#include "engine/ToolChain.hpp"

#include <cassert>
#include <mutex>

#include "engine/BindingApplication.hpp"

namespace varnolex {

std::shared_ptr<ToolChain> ToolChain::make(std::vector<std::shared_ptr<PipeTool>> tools, std::string pipeName,
                                           std::shared_ptr<ChainLock> lock) {
    if (!lock) lock = std::make_shared<ChainLock>();
    const std::shared_ptr<ToolChain> chain(new ToolChain(std::move(tools), std::move(pipeName), std::move(lock)));
    for (const auto& tool : chain->toolList) tool->joinChain(chain);
    return chain;
}

ToolChain::ToolChain(std::vector<std::shared_ptr<PipeTool>> tools, std::string name, std::shared_ptr<ChainLock> lock)
    : toolList(std::move(tools)),
      firstTool(toolList.empty() ? nullptr : toolList.front().get()),
      toolCount(toolList.size()),
      chainLock(std::move(lock)),
      shownName(std::move(name)) {}

[[gnu::always_inline]] inline void ToolChain::leave(const ChainMessage& message) noexcept {
    if (message.isEmptyCarrier() && !message.isLastInBatch) return;
    if (ChainExit* exit = messageDidExit.load()) exit->deliver(message);
}

// A walk through many nodes nests deep, so its usual way (one tool, switched on, inside a walk, at rest before) is made
// of jumps: the entries keep nothing for after the call, and leave what is unusual to functions of their own.

void ToolChain::sendInWalk(const ChainMessage& message) noexcept {
    assert(chainLock->isHeldByCaller());
    if (message.length >= 3 && message.kind() == 0xB0) [[unlikely]]
        applyBindings(message);
    if (index != 0 || !firstTool || !firstTool->isEnabled()) [[unlikely]]
        return sendFromWithin(message);
    firstTool->process(message, *this);
}

void ToolChain::send(const ChainMessage& message) noexcept {
    const std::scoped_lock walk(*chainLock);
    sendInWalk(message);
}

void ToolChain::forward(const ChainMessage& message) noexcept {
    if (!chainLock->isHeldByCaller()) [[unlikely]]
        return forwardFromOutside(message);
    const std::size_t next = index + 1;
    if (next < toolCount) return walkFrom(next, message);
    leave(message);
}

[[gnu::noinline]] void ToolChain::sendFromWithin(const ChainMessage& message) noexcept {
    if (firstTool) walkFrom(0, message);
}

[[gnu::noinline]] void ToolChain::forwardFromOutside(const ChainMessage& message) noexcept {
    const std::scoped_lock walk(*chainLock);
    walkFrom(index + 1, message);
}

[[gnu::noinline]] void ToolChain::walkFrom(std::size_t place, const ChainMessage& message) noexcept {
    while (place < toolCount && !toolList[place]->isEnabled()) ++place;
    if (place >= toolCount) return leave(message);
    // A tool may enter its own chain again from inside `process`, so the outer walk's place is kept.
    const std::size_t outer = index;
    index = place;
    toolList[place]->process(message, *this);
    index = outer;
}

void ToolChain::sendToExit(const ChainMessage& message) noexcept {
    const std::scoped_lock walk(*chainLock);
    if (ChainExit* exit = messageDidExit.load()) exit->deliver(message);
}

[[gnu::noinline]] void ToolChain::applyBindings(const ChainMessage& message) noexcept {
    for (const auto& tool : toolList) applyCCBindings(*tool, message.data1(), message.data2());
}

void ToolChain::setMessageDidExit(std::unique_ptr<ChainExit> exit) {
    messageDidExit.replace(std::move(exit));
    reclaimExits();
}

}  // namespace varnolex
