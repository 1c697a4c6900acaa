// USES tools

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

#include "../tests/support/ToolExercise.hpp"
#include "FuzzInput.hpp"
#include "engine/Catalogue.hpp"
#include "platform/VirtualRuntime.hpp"
#include "tools/ToolFactory.hpp"

namespace varnolex::testing {
namespace {

/// What came out since the last message went in.
struct Seen {
    bool anything = false;
    bool batchEnd = false;
};

/// Notes what comes out, and that it is nothing but whole messages.
class WatchingExit final : public ChainExit {
public:
    WatchingExit(Seen& out, const bool& input) : seen(out), mustBeWhole(input) {}

    void deliver(const ChainMessage& message) noexcept override {
        seen = {true, seen.batchEnd || message.isLastInBatch};
        if (message.isEmptyCarrier() || !mustBeWhole) return;
        require(isWholeMessage({message.bytes, message.length}), "whole messages make whole messages");
    }

private:
    Seen& seen;
    const bool& mustBeWhole;
};

/// The fuzzer's bytes as choices, four bytes each at most; 0 when they are used up.
class InputDraws {
public:
    InputDraws(const std::uint8_t* bytes, std::size_t length) : data(bytes), size(length) {}

    bool isUsedUp() const { return at >= size; }

    Draws draws() {
        return Draws([this] {
            std::uint32_t bits = 0;
            const std::size_t count = std::min<std::size_t>(sizeof bits, size - at);
            std::memcpy(&bits, data + at, count);
            at += count;
            // Wide settings need the upper bits too; small choices are taken from the lower ones as they stand.
            return bits | std::uint64_t{bits} << 32;
        });
    }

private:
    const std::uint8_t* data;
    std::size_t size;
    std::size_t at = 0;
};

class Exercise {
public:
    Exercise(PipeToolType type, InputDraws& input) : tool(makeTool(type)), source(input), draws(input.draws()) {
        chain->setMessageDidExit(std::make_unique<WatchingExit>(seen, mustBeWhole));
        tool->chainWasWired(0);
    }

    void run(VirtualRuntime& runtime) {
        isInputWhole = draws.oneIn(2);
        mustBeWhole = isInputWhole && !spellsOutMessages(tool->toolType());
        while (!source.isUsedUp()) step(runtime);
        tool->stop();
        runtime.settle();
        require(runtime.pendingItems() == 0, "a stopped tool leaves nothing behind");
    }

private:
    void step(VirtualRuntime& runtime) {
        Transport* transport = tool->transport();
        switch (draws.below(8)) {
            case 0:
                return drawSettings(*tool, draws);
            case 1:
                return drawLiveValues(*tool, draws);
            case 2:
                return tool->setEnabled(!draws.oneIn(4));
            case 3:
                return runtime.runFor(Nanoseconds(draws.below(100'000'000)));
            case 4:
                if (transport) return draws.oneIn(2) ? transport->startPlaying() : transport->stopPlaying();
                break;
            default:
                break;
        }
        send(runtime.hostTime());
    }

    void send(HostTime now) {
        const auto bytes = isInputWhole ? drawMessage(draws) : drawJunk(draws);
        const bool isLast = draws.oneIn(2);
        seen = {};
        chain->send({bytes.data(), bytes.size(), now, isLast});
        if (!isLast || !toolKind(tool->toolType()).hasOutput) return;
        require(seen.batchEnd || mayDelayBatchEnd(tool->toolType(), bytes, seen.anything),
                "a batch end always arrives");
    }

    const std::shared_ptr<PipeTool> tool;
    const std::shared_ptr<ToolChain> chain = ToolChain::make({tool}, "fuzz");
    InputDraws& source;
    Draws draws;
    Seen seen;
    bool isInputWhole = false;
    bool mustBeWhole = false;
};

}  // namespace
}  // namespace varnolex::testing

/// Runs a tool of any kind with any settings, live values and bytes, and looks that batches end, that whole messages
/// make whole messages, and that nothing is left behind.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace varnolex;
    if (size < 2) return 0;
    VirtualRuntime runtime;
    const RuntimeScope scope(runtime);
    testing::InputDraws input(data + 1, size - 1);
    testing::Exercise(allToolKinds()[data[0] % allToolKinds().size()].type, input).run(runtime);
    return 0;
}
