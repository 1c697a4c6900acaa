#pragma once

#include <utility>

#include "engine/ToolChain.hpp"
#include "tools/looper/LooperTool.hpp"

namespace varnolex {

/// Runs a command that comes from outside a walk, with the way out. What it sends belongs to no batch of the input, so
/// the batch is ended behind it.
template <class Work>
void LooperTool::command(Work&& work) {
    const auto owner = chain();
    const Outlet outlet{owner.get(), Runtime::current().hostTime()};
    inWalkOf(*this, [&] {
        const bool wasOpen = std::exchange(isBatchOpen, false);
        work(outlet);
        if (isBatchOpen)
            hand({nullptr, 0, outlet.timeStamp, true}, *outlet.chain);
        else
            isBatchOpen = wasOpen;
    });
}

}  // namespace varnolex
