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

/// Every message of the sender's batches carries the number of its batch, of 127, behind its first data byte.
bool isOfOneBatch(const PacketListView& list) {
    std::uint8_t number = 0;
    for (const Packet& packet : list) {
        if (packet.bytes.size() != 3 || (number != 0 && packet.bytes[2] != number)) return false;
        number = packet.bytes[2];
    }
    return true;
}

TEST(EndpointToolThreads, batchesStayWholeWhileTheMainThreadChangesConnections) {
    constexpr int changes = 500;
    SharedValue<bool> isOver{false};
    SharedValue<std::uint64_t> whole{0};
    SharedValue<std::uint64_t> mixed{0};
    RealRuntime runtime;
    const RuntimeScope runtimeScope(runtime);
    MemoryService service;
    const MIDIServiceScope serviceScope(service);
    MIDIClientRef client = 0;
    service.MIDIClientCreateWithBlock("threads", {}, client);
    const auto source = service.plugSource({.displayName = "Keys", .uniqueID = 77});
    const auto destination = service.plugDestination({.displayName = "Synth", .uniqueID = 55});
    service.listen(destination, [&](const PacketListView& list) {
        if (!isOfOneBatch(list)) mixed.add(1);
        if (list.count() == 3) whole.add(1);
    });

    const auto in = std::static_pointer_cast<MidiInTool>(makeTool(PipeToolType::midiIn));
    const auto out = std::static_pointer_cast<MidiOutTool>(makeTool(PipeToolType::midiOut));
    const auto inChain = ToolChain::make({in}, "in");
    const auto outChain = ToolChain::make({out}, "out");
    inChain->setMessageDidExit(std::make_unique<ChainFeed>(outChain));
    in->start(client);
    out->start(client);
    in->connectToSource(77);

    std::jthread sender([&] {
        for (unsigned batch = 0; !isOver.get(); ++batch) {
            const auto number = static_cast<std::uint8_t>(1 + batch % 127);
            service.send(source, OwnedList{{1, {0x90, 60, number, 61, number}}, {2, {0xB0, 7, number}}});
        }
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
    EXPECT_EQ(mixed.get(), 0U);
}

}  // namespace
}  // namespace varnolex::testing
