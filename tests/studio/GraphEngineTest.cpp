#include "engine/ValueProducer.hpp"
#include "studio/GraphFixture.hpp"
#include "studio/WiringPlan.hpp"
#include "support/AllocationTrap.hpp"
#include "support/RecordedEvents.hpp"

namespace varnolex::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using enum PipeToolType;

using GraphEngineTest = GraphFixture;

constexpr auto restored = ModularEngine::RebuildReason::restored;
const std::vector<std::uint8_t> note{0x90, 0x3C, 0x64};

/// The text of the refusal, or nothing when there was none.
template <class Error, class Call>
std::string refusal(Call&& call) {
    try {
        std::forward<Call>(call)();
    } catch (const Error& error) {
        return error.what();
    }
    return "";
}

TEST_F(GraphEngineTest, ConnectionsAreRefusedForTheFirstReasonThatHolds) {
    const Node in = add(midiIn), out = add(midiOut), first = add(transpose), second = add(transpose);
    const Node third = add(transpose), number = add(constant);
    const UUID nowhere = runtime.makeUUID();
    connect(first, second);
    connect(second, third);

    struct Case {
        UUID source, target;
        const char* text;
    };
    const std::vector<Case> cases{
        {nowhere, nowhere, "Node not found in modular"},
        {out->id, nowhere, "Node not found in modular"},
        {nowhere, in->id, "Node not found in modular"},
        {out->id, out->id, "Source node has no output port"},
        {out->id, in->id, "Source node has no output port"},
        {number->id, in->id, "Source node has no output port"},
        {in->id, in->id, "Target node has no input port"},
        {first->id, number->id, "Target node has no input port"},
        {first->id, first->id, "Cannot connect a node to itself"},
        {first->id, second->id, "Connection already exists"},
        {second->id, first->id, "Connection would create a cycle"},
        {third->id, first->id, "Connection would create a cycle"},
    };
    const auto before = graph->connections;
    for (const auto& row : cases)
        EXPECT_EQ(refusal<ConnectionError>([&] { engine.addConnection(row.source, row.target, *graph); }), row.text);
    EXPECT_EQ(graph->connections, before);
    // A second way to the same place is no circle.
    connect(first, third);
}

TEST_F(GraphEngineTest, ValueConnectionsAreRefusedForTheFirstReasonThatHolds) {
    const Node number = add(constant), other = add(constant), up = add(transpose);
    const Node first = add(manipulator), second = add(manipulator);
    const UUID nowhere = runtime.makeUUID();
    connectValue(number, up, "semitones");
    connectValue(first, second, "inputA");

    struct Case {
        UUID source, target;
        const char* port;
        const char* text;
    };
    const std::vector<Case> cases{
        {nowhere, up->id, "semitones", "Node not found in modular"},
        {up->id, nowhere, "semitones", "Node not found in modular"},
        {up->id, up->id, "nonsense", "Source node has no value output"},
        {number->id, up->id, "nonsense", "Target port not found on node"},
        {number->id, number->id, "value", "Target port not found on node"},
        {first->id, first->id, "inputA", "Cannot connect a node to itself"},
        {number->id, up->id, "semitones", "Value connection already exists"},
        {other->id, up->id, "semitones", "Target port is already connected"},
        {second->id, first->id, "inputA", "Connection would create a cycle"},
    };
    const auto before = graph->valueConnections;
    for (const auto& row : cases) {
        const auto add = [&] { engine.addValueConnection(row.source, row.target, row.port, *graph); };
        EXPECT_EQ(refusal<ValueConnectionError>(add), row.text);
    }
    EXPECT_EQ(graph->valueConnections, before);
    // The same two nodes by another port, and one number to many ports.
    connectValue(first, second, "inputB");
    connectValue(number, second, "inputC");
}

TEST_F(GraphEngineTest, AFanOutFollowsTheOrderOfTheCablesDepthFirst) {
    const Node source = add(transpose), a = addEar("a"), b = addEar("b"), c = addEar("c"), deep = addEar("deep");
    connect(source, c);
    connect(source, a);
    const ModularConnection cable = connect(source, b);
    connect(a, deep);
    send(source, note, false);
    EXPECT_THAT(taken(), ElementsAre("c 90 3C 64", "a 90 3C 64", "deep 90 3C 64", "b 90 3C 64"));
    source->chain->send({nullptr, 0, 0, true});
    EXPECT_THAT(taken(), ElementsAre("c - |", "a - |", "deep - |", "b - |"));

    engine.removeConnection(cable.id, *graph);
    send(source, note);
    EXPECT_THAT(taken(), ElementsAre("c 90 3C 64 |", "a 90 3C 64 |", "deep 90 3C 64 |"));
}

TEST_F(GraphEngineTest, ARebuildKeepsChainsAndTakesTheNewName) {
    const Node source = add(transpose), ear = addEar("ear");
    connect(source, ear);
    const auto chain = source->chain;
    graph->name = "Encore";
    engine.rebuildChains(*graph, restored);
    EXPECT_EQ(source->chain, chain);
    EXPECT_EQ(source->chain->pipeName(), "Encore");
    engine.removeConnection(runtime.makeUUID(), *graph);
    send(source, note);
    EXPECT_THAT(taken(), ElementsAre("ear 90 3C 64 |"));
}

TEST_F(GraphEngineTest, RemovingANodeTakesItsCablesAndLeavesNobodyHoldingIt) {
    const Node source = add(transpose), ear = addEar("ear"), number = add(constant);
    Node middle = add(transpose);
    connect(source, middle);
    connect(middle, ear);
    connectValue(number, middle, "semitones");
    const std::weak_ptr<ToolChain> chain = middle->chain;
    const std::weak_ptr<PipeTool> tool = middle->tool;

    engine.removeNode(middle, *graph);
    middle.reset();
    runtime.runFor(std::chrono::seconds(1));
    EXPECT_THAT(graph->connections, IsEmpty());
    EXPECT_THAT(graph->valueConnections, IsEmpty());
    EXPECT_TRUE(chain.expired());
    EXPECT_TRUE(tool.expired());
    send(source, note);
    EXPECT_THAT(taken(), IsEmpty());
}

TEST_F(GraphEngineTest, AnEditInTheMiddleOfAWalkLeavesTheWalkWhole) {
    const Node source = add(transpose);
    Node last;
    const Node first = addTool(std::make_shared<EarTool>([&](const ChainMessage&) {
        heard.push_back("first");
        if (last) engine.removeNode(std::exchange(last, nullptr), *graph);
    }));
    const Node middle = addEar("middle");
    last = addEar("last");
    connect(source, first);
    connect(source, middle);
    connect(source, last);
    send(source, note);
    // The walk ends as it began; the next one goes by what there is now.
    EXPECT_THAT(taken(), ElementsAre("first", "middle 90 3C 64 |", "last 90 3C 64 |"));
    send(source, note);
    EXPECT_THAT(taken(), ElementsAre("first", "middle 90 3C 64 |"));
    runtime.runFor(std::chrono::seconds(1));
    EXPECT_EQ(runtime.pendingItems(), 0u);
}

TEST_F(GraphEngineTest, CablesThatCloseACircleCarryNothing) {
    const Node first = addEar("1"), second = addEar("2"), third = addEar("3");
    placeCable(*graph, *first, *second);
    placeCable(*graph, *second, *third);
    placeCable(*graph, *third, *first);
    placeCable(*graph, *second, *second);
    graph->connections.push_back({runtime.makeUUID(), third->id, runtime.makeUUID()});
    graph->connections.push_back({runtime.makeUUID(), runtime.makeUUID(), first->id});
    EXPECT_THAT(WiringPlan(*graph).silentConnections(), ElementsAre(2, 3));
    engine.startNodes(*graph);
    send(first, note);
    EXPECT_THAT(taken(), ElementsAre("1 90 3C 64 |", "2 90 3C 64 |", "3 90 3C 64 |"));
    EXPECT_EQ(graph->connections.size(), 6u);

    const Node a = add(manipulator), b = add(manipulator);
    graph->valueConnections.push_back({runtime.makeUUID(), a->id, b->id, "inputA"});
    graph->valueConnections.push_back({runtime.makeUUID(), b->id, a->id, "inputA"});
    engine.startNodes(*graph);
    EXPECT_THAT(WiringPlan(*graph).silentValueConnections(), ElementsAre(1));
    a->tool->valueReceiver()->receive(9, "inputA");
    EXPECT_EQ(b->tool->valueProducer()->outputValue(), 9);
}

TEST_F(GraphEngineTest, AChainOfAnyLengthIsWalkedAsFarAsTheStackBears) {
    constexpr std::size_t length = 5000;
    std::size_t reached = 0;
    for (std::size_t index = 0; index < length; ++index) {
        placeNode(*graph, std::make_shared<EarTool>([&](const ChainMessage&) { ++reached; }));
        if (index > 0) placeCable(*graph, *graph->nodes[index - 1], *graph->nodes[index]);
    }
    engine.startNodes(*graph);
    send(graph->nodes.front(), note);
    EXPECT_EQ(reached, WiringPlan::longestWalk);
    EXPECT_EQ(WiringPlan(*graph).silentConnections().size(), (length - 1) / WiringPlan::longestWalk);
}

TEST_F(GraphEngineTest, AValueCableBringsTheNumberAtOnceAndTakesItAlongWhenItGoes) {
    const Node number = add(constant), up = add(transpose), ear = addEar("ear");
    connect(up, ear);
    setParameter(*up->tool, "semitones", std::int64_t{1});
    setParameter(*number->tool, "value", 7.0);
    const ValueConnection cable = connectValue(number, up, "semitones");
    send(up, note);
    // A new number goes to a ridden parameter by way of the main thread.
    setParameter(*number->tool, "value", 12.0);
    send(up, note);
    runtime.settle();
    send(up, note);
    // Nor does one that is on its way arrive behind the cable's end.
    setParameter(*number->tool, "value", 20.0);
    engine.removeValueConnection(cable.id, *graph);
    send(up, note);
    setParameter(*number->tool, "value", 24.0);
    runtime.settle();
    send(up, note);
    EXPECT_THAT(taken(),
                ElementsAre("ear 90 43 64 |", "ear 90 43 64 |", "ear 90 48 64 |", "ear 90 3D 64 |", "ear 90 3D 64 |"));
}

TEST_F(GraphEngineTest, AChainOfProducersSettlesAtOnce) {
    const Node number = add(constant), scaled = add(manipulator), shifted = add(manipulator), up = add(transpose);
    setParameter(*number->tool, "value", 10.0);
    setParameter(*scaled->tool, "operation", std::string("A × Scale"));
    setParameter(*scaled->tool, "scaleFactor", 2.0);
    setParameter(*shifted->tool, "operation", std::string("A + Offset"));
    setParameter(*shifted->tool, "offsetValue", 3.0);
    connectValue(scaled, shifted, "inputA");
    connectValue(shifted, up, "semitones");
    connectValue(number, scaled, "inputA");
    EXPECT_EQ(shifted->tool->valueProducer()->outputValue(), 23);
    setParameter(*number->tool, "value", 1.0);
    EXPECT_EQ(shifted->tool->valueProducer()->outputValue(), 5);
    const Node ear = addEar("ear");
    connect(up, ear);
    send(up, note);
    EXPECT_THAT(taken(), ElementsAre("ear 90 41 64 |"));

    // Switching the receiver off stops messages, not numbers.
    scaled->tool->setEnabled(false);
    setParameter(*number->tool, "value", 2.0);
    EXPECT_EQ(shifted->tool->valueProducer()->outputValue(), 7);
}

TEST_F(GraphEngineTest, ParticlesShowWhatPassedAtMostOnceIn120Milliseconds) {
    const Node source = add(transpose), ear = addEar("ear"), other = addEar("other");
    connect(source, ear);
    connect(source, other);
    for (int index = 0; index < 10; ++index) {
        send(source, note);
        runtime.runFor(std::chrono::milliseconds(10));
    }
    ASSERT_EQ(graph->pendingParticles.size(), 2u);
    EXPECT_EQ(graph->pendingParticles[0].connectionID, graph->connections[0].id);
    EXPECT_EQ(graph->pendingParticles[1].connectionID, graph->connections[1].id);
    EXPECT_EQ(graph->pendingParticles[0].kind, ModularParticle::Kind::noteOn);
    EXPECT_TRUE(graph->particleSignal.hasPending);
    graph->pruneParticles();
    EXPECT_FALSE(graph->particleSignal.hasPending);
    EXPECT_EQ(graph->particleSignal.particleCount, 2u);

    runtime.runFor(std::chrono::milliseconds(690));
    graph->pruneParticles();
    EXPECT_EQ(graph->particles.size(), 2u);
    runtime.runFor(std::chrono::milliseconds(20));
    graph->pruneParticles();
    EXPECT_EQ(graph->particleSignal.particleCount, 0u);

    source->chain->send({nullptr, 0, 0, true});
    runtime.runFor(std::chrono::seconds(1));
    EXPECT_FALSE(graph->particleSignal.hasPending);

    for (int index = 0; index < 50; ++index) graph->spawnParticle(runtime.makeUUID(), ModularParticle::Kind::clock);
    graph->pruneParticles();
    EXPECT_EQ(graph->particles.size(), 20u);
}

TEST_F(GraphEngineTest, StatusBytesHaveTheirKindOfParticle) {
    using Kind = ModularParticle::Kind;
    const std::vector<std::pair<int, Kind>> cases{
        {0x8F, Kind::noteOff},       {0x90, Kind::noteOn},     {0xA1, Kind::aftertouch}, {0xB0, Kind::cc},
        {0xC2, Kind::programChange}, {0xD3, Kind::aftertouch}, {0xE4, Kind::pitchBend},  {0xF8, Kind::clock},
        {0xFA, Kind::system},        {0xF0, Kind::system},     {0x10, Kind::system}};
    for (const auto& [status, kind] : cases)
        EXPECT_EQ(ModularParticle::kindOf(static_cast<std::uint8_t>(status)), kind) << status;
}

TEST_F(GraphEngineTest, SwitchingAGraphOffAndOnRestoresWhatWasOn) {
    const Node on = add(transpose), off = add(transpose);
    off->tool->setEnabled(false);
    engine.setEnabled(false, *graph);
    engine.setEnabled(false, *graph);
    EXPECT_FALSE(graph->isEnabled);
    EXPECT_FALSE(on->tool->isEnabled());
    const Node late = add(transpose);
    late->tool->setEnabled(false);
    engine.setEnabled(true, *graph);
    EXPECT_TRUE(on->tool->isEnabled());
    EXPECT_FALSE(off->tool->isEnabled());
    EXPECT_TRUE(late->tool->isEnabled());

    // The memory of the first time is gone.
    off->tool->setEnabled(true);
    engine.setEnabled(false, *graph);
    engine.setEnabled(true, *graph);
    EXPECT_TRUE(off->tool->isEnabled());
}

TEST_F(GraphEngineTest, ASwitchedOffGraphPassesMessagesUnchanged) {
    const Node up = add(transpose), ear = add(transpose);
    setParameter(*up->tool, "semitones", std::int64_t{1});
    connect(up, ear);
    std::vector<std::string> left;
    engine.setRoutedMessageHandler([&](const ChainMessage& message, const std::string& name) {
        left.push_back(name + ": " + std::to_string(message.bytes[1]));
    });
    send(up, note);
    engine.setEnabled(false, *graph);
    send(up, note);
    EXPECT_THAT(left, IsEmpty());
    runtime.settle();
    EXPECT_THAT(left, ElementsAre("Stage: 61", "Stage: 60"));
}

TEST_F(GraphEngineTest, WhatLeavesATerminalNodeIsCopiedForTheHandler) {
    const Node end = add(transpose);
    std::vector<std::string> left;
    engine.setRoutedMessageHandler([&](const ChainMessage& message, const std::string&) {
        left.push_back(textOf({{message.bytes, message.bytes + message.length}, message.isLastInBatch, 0, 0}));
    });
    std::vector<std::uint8_t> exclusive{0xF0, 0x7D, 0x01, 0x02, 0x03, 0xF7};
    send(end, exclusive, false);
    exclusive.assign(6, 0);
    end->chain->send({nullptr, 0, 0, true});
    runtime.settle();
    EXPECT_THAT(left, ElementsAre("F0 7D 01 02 03 F7", "- |"));
}

TEST_F(GraphEngineTest, NoTimerOutlivesItsNodeOrItsGraph) {
    const Node first = add(timingClock), ear = addEar("clock");
    connect(first, ear);
    first->tool->transport()->startPlaying();
    runtime.runFor(std::chrono::milliseconds(50));
    EXPECT_THAT(taken(), ElementsAre("clock FA |", "clock F8 |", "clock F8 |", "clock F8 |"));
    engine.removeNode(first, *graph);
    EXPECT_THAT(taken(), ElementsAre("clock FC |"));
    const Node second = add(timingClock), wave = add(lfo);
    second->tool->transport()->startPlaying();
    engine.removeModular(*graph);
    EXPECT_THAT(engine.modulars(), IsEmpty());
    graph.reset();
    runtime.runFor(std::chrono::seconds(1));
    EXPECT_EQ(runtime.pendingItems(), 0u);
    EXPECT_THAT(taken(), IsEmpty());
}

TEST_F(GraphEngineTest, GraphsAreNamedByTheirNumberAndCountedUpToALimit) {
    EXPECT_EQ(engine.createModular()->name, "Studio 2");
    while (engine.modulars().size() < 300) engine.createModular();
    const auto pipeIndexOf = [this](Modular& of) {
        const auto ear = std::make_shared<EarTool>([](const ChainMessage&) {});
        placeNode(of, ear);
        engine.rebuildChains(of, restored);
        return ear->pipeIndex;
    };
    EXPECT_EQ(pipeIndexOf(*engine.modulars()[1]), 1);
    EXPECT_EQ(pipeIndexOf(*engine.modulars()[299]), 254);
    Modular stranger(runtime.makeUUID(), "Stranger");
    EXPECT_EQ(pipeIndexOf(stranger), 0);
}

TEST_F(GraphEngineTest, ARebuildLeavesRecordsOfItsReasonAndItsTools) {
    engine.createModular("Second");
    RecordedEvents events(runtime);
    const auto second = engine.modulars()[1];
    const auto first = engine.addNode(PipeToolType::transpose, {}, *second);
    const auto other = engine.addNode(PipeToolType::velocityModifier, {}, *second);
    events.take();
    other->tool->setEnabled(false);
    engine.addConnection(first->id, other->id, *second);
    EXPECT_EQ(events.take(),
              (std::vector<std::string>{"3: 1 3 2 0 0", "2: 1 0 4 1 0", "2: 1 1 16 0 0", "12: 1 2 1 0 0"}));
}

TEST_F(GraphEngineTest, AWalkTakesNothingFromTheHeap) {
    const Node source = add(transpose);
    std::size_t count = 0;
    for (int branch = 0; branch < 4; ++branch) {
        Node before = source;
        for (int step = 0; step < 20; ++step) {
            const Node next = add(step % 2 ? velocityModifier : transpose);
            connect(before, next);
            before = next;
        }
        connect(before, addTool(std::make_shared<EarTool>([&](const ChainMessage&) { ++count; })));
    }
    runtime.runFor(std::chrono::seconds(1));
    // The first particles bring the mailbox to its working size.
    send(source, note);
    runtime.runFor(std::chrono::seconds(1));
    count = 0;
    const AllocationTrap trap;
    for (int index = 0; index < 100; ++index) send(source, note);
    EXPECT_EQ(trap.count(), 0u);
    EXPECT_EQ(count, 400u);
}

}  // namespace
}  // namespace varnolex::testing
