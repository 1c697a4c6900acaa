#include <thread>

#include "EndpointProbe.hpp"
#include "platform/RealRuntime.hpp"
#include "tools/endpoints/MidiInTool.hpp"
#include "tools/endpoints/MidiOutTool.hpp"

namespace varnolex::testing {
namespace {

/// Hands on to the next tool's chain.
class ChainFeed final : public ChainExit {
public:
    explicit ChainFeed(std::shared_ptr<ToolChain> chain) : next(std::move(chain)) {}
    void deliver(const ChainMessage& message) noexcept override { next->send(message); }

private:
    std::shared_ptr<ToolChain> next;
};

TEST(EndpointToolThreads, batchesStayWholeWhileTheMainThreadChangesConnections) {
    constexpr int changes = 500;
    SharedValue<bool> isOver{false};
    SharedValue<std::uint64_t> whole{0};
    SharedValue<std::uint64_t> torn{0};
    RealRuntime runtime;
    const RuntimeScope runtimeScope(runtime);
    MemoryService service;
    const MIDIServiceScope serviceScope(service);
    MIDIClientRef client = 0;
    service.MIDIClientCreateWithBlock("threads", {}, client);
    const auto source = service.plugSource({.displayName = "Keys", .uniqueID = 77});
    const auto destination = service.plugDestination({.displayName = "Synth", .uniqueID = 55});
    service.listen(destination, [&](const PacketListView& list) { (list.count() == 3 ? whole : torn).add(1); });

    const auto in = std::static_pointer_cast<MidiInTool>(makeTool(PipeToolType::midiIn));
    const auto out = std::static_pointer_cast<MidiOutTool>(makeTool(PipeToolType::midiOut));
    const auto inChain = ToolChain::make({in}, "in");
    const auto outChain = ToolChain::make({out}, "out");
    inChain->setMessageDidExit(std::make_unique<ChainFeed>(outChain));
    in->start(client);
    out->start(client);
    in->connectToSource(77);

    std::jthread sender([&] {
        const OwnedList list{{1, {0x90, 60, 1, 61, 1}}, {2, {0xF8}}};
        while (!isOver.get()) service.send(source, list);
    });
    for (int change = 0; change < changes || whole.get() == 0; ++change) {
        out->connectToDestination(change % 4 == 3 ? 56 : 55);
        setParameter(*out, "passThrough", change % 2 == 0);
        if (change % 16 == 0) in->connectToSource(77);
        runtime.pollMain();
    }
    isOver.set(true);
    sender.join();
    in->stop();
    out->stop();
    // A destination that changes in the middle of a batch may take its beginning away, never mix two.
    EXPECT_GT(whole.get(), torn.get());
}

}  // namespace
}  // namespace varnolex::testing
