#include "engine/ToolChain.hpp"

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
    : toolList(std::move(tools)), chainLock(std::move(lock)), shownName(std::move(name)) {}

// Inlined into both entries: a walk through many nodes nests deep, and each call less on the way down is a return that
// the processor can still predict.
[[gnu::always_inline]] inline void ToolChain::step(const ChainMessage& message) noexcept {
    for (const std::size_t count = toolList.size(); index < count; ++index) {
        PipeTool& tool = *toolList[index];
        if (!tool.isEnabled()) continue;
        tool.process(message, *this);
        return;
    }
    if (message.isEmptyCarrier() && !message.isLastInBatch) return;
    if (ChainExit* exit = messageDidExit.load()) exit->deliver(message);
}

void ToolChain::send(const ChainMessage& message) noexcept {
    const std::scoped_lock walk(*chainLock);
    if (toolList.empty()) return;
    if (message.length >= 3 && message.kind() == 0xB0) applyBindings(message);
    // A tool may enter its own chain at the top from inside `process`, so the outer walk's place is kept.
    const std::size_t place = index;
    index = 0;
    step(message);
    index = place;
}

void ToolChain::forward(const ChainMessage& message) noexcept {
    const std::scoped_lock walk(*chainLock);
    const std::size_t place = index;
    ++index;
    step(message);
    index = place;
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
