#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>

#include "core/message/VoiceMessage.hpp"
#include "endpoints/MIDIGateway.hpp"
#include "endpoints/ServiceFixture.hpp"
#include "platform/DiagnosticLog.hpp"
#include "platform/VarnolexLogger.hpp"
#include "platform/WholeFile.hpp"

namespace varnolex {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class MIDIGatewayTest : public ServiceFixture {
protected:
    MIDIGatewayTest() {
        VarnolexLogger::shared().setEnabled(true);
        formerSink = VarnolexLogger::shared().replaceSink([this](std::string_view line) { lines.emplace_back(line); });
        gateway.subscribeToSources("radar", [this](const MessageList& messages) { passed = messages; });
    }
    ~MIDIGatewayTest() override {
        VarnolexLogger::shared().replaceSink(formerSink);
        VarnolexLogger::shared().setEnabled(false);
    }

    /// Appends messages with times that count on through the batch. "-" is no name.
    static void append(MessageList& batch, std::string_view name, std::size_t count) {
        for (; count > 0; --count)
            batch.push_back(makeMessage<VoiceMessage>(batch.size() + 1, std::uint8_t{0x90}, std::uint8_t{1},
                                                      std::uint8_t{1}, name == "-" ? SharedName() : SharedName(name)));
    }
    static MessageList batchOf(std::initializer_list<std::pair<std::string_view, std::size_t>> parts) {
        MessageList batch;
        for (const auto& [name, count] : parts) append(batch, name, count);
        return batch;
    }

    /// Sends a batch to the source path and gives back the times of what passed.
    std::vector<HostTime> send(const MessageList& batch) {
        passed.clear();
        gateway.dispatchSourceMessages(batch);
        std::vector<HostTime> times;
        for (const MessageRef& message : passed) times.push_back(message->timeStamp);
        return times;
    }

    void sendWindows(std::string_view name, std::size_t messages, int windows) {
        for (int index = 0; index < windows; ++index) {
            send(batchOf({{name, messages}}));
            runtime.runFor(FloodFilter::window);
        }
    }

    bool isFlooding(std::string_view name) {
        return gateway.floodControl().floodingEndpoints().contains(SharedName(name));
    }

    MIDIGateway gateway;
    MessageList passed;
    std::vector<std::string> lines;
    VarnolexLogger::Sink formerSink;
};

TEST_F(MIDIGatewayTest, AnEndpointFloodsFromTheEndOfItsThirdLoudWindow) {
    const struct {
        std::size_t messages;
        bool floods;
    } cases[]{{600, true}, {500, true}, {499, false}};
    for (const auto& one : cases) {
        gateway.floodControl().reset();
        sendWindows("Keys", one.messages, 2);
        send(batchOf({{"Keys", one.messages}}));
        runtime.runFor(FloodFilter::window - Nanoseconds(1));
        EXPECT_THAT(send(batchOf({{"Keys", 50}})), SizeIs(50)) << "the third window is open";
        EXPECT_FALSE(isFlooding("Keys"));
        runtime.runFor(Nanoseconds(1));
        EXPECT_THAT(send(batchOf({{"Keys", 50}})), SizeIs(one.floods ? 1 : 50)) << one.messages;
        EXPECT_EQ(isFlooding("Keys"), one.floods);
    }
}

TEST_F(MIDIGatewayTest, AQuietWindowBetweenLoudOnesBeginsTheCountAnew) {
    for (int round = 0; round < 5; ++round) {
        sendWindows("Keys", 600, 2);
        sendWindows("Keys", 10, 1);
    }
    EXPECT_FALSE(isFlooding("Keys"));
    sendWindows("Keys", 600, 4);
    EXPECT_TRUE(isFlooding("Keys"));
}

TEST_F(MIDIGatewayTest, AFloodEndsWithItsTwentiethQuietWindowInARow) {
    sendWindows("Keys", 600, 4);
    sendWindows("Keys", 10, 19);
    sendWindows("Keys", 500, 1);
    sendWindows("Keys", 10, 20);
    EXPECT_TRUE(isFlooding("Keys")) << "the twentieth is open";
    EXPECT_THAT(send(batchOf({{"Keys", 10}})), SizeIs(10));
    EXPECT_FALSE(isFlooding("Keys"));
    runtime.runFor(std::chrono::hours(1));
    EXPECT_EQ(gateway.floodControl().state(SharedName("Keys"))->messageCount, 10u) << "silence closes no window";
}

TEST_F(MIDIGatewayTest, EndpointsAreCountedAndSampledEachByItself) {
    sendWindows("Keys", 600, 4);
    EXPECT_THAT(send(batchOf({{"Pads", 2}, {"Keys", 3}, {"-", 1}, {"Pads", 1}, {"Keys", 1}, {"Unknown", 1}})),
                ElementsAre(1, 2, 7, 3, 6, 9))
        << "endpoint after endpoint, a flooding one with its first message";
    EXPECT_EQ(gateway.floodControl().state(SharedName("Unknown"))->messageCount, 2u);
    const auto original = batchOf({{"Pads", 2}, {"Bass", 2}});
    send(original);
    EXPECT_EQ(passed, original);
}

TEST_F(MIDIGatewayTest, MutedEndpointsAreCutOffAndBeginAnewWhenReleased) {
    FloodFilter& flood = gateway.floodControl();
    const SharedName keys("Keys");
    sendWindows("Keys", 600, 4);
    flood.mute(keys);
    const auto batches = flood.batchCount();
    EXPECT_THAT(send(batchOf({{"Keys", 5}})), IsEmpty());
    EXPECT_EQ(flood.batchCount(), batches) << "a batch of muted endpoints alone doesn't count";
    EXPECT_THAT(send(batchOf({{"Keys", 5}, {"Pads", 1}, {"Keys", 1}})), ElementsAre(6));
    EXPECT_EQ(flood.batchCount(), batches + 1);
    flood.release(keys);
    EXPECT_FALSE(isFlooding("Keys"));
    EXPECT_EQ(flood.state(keys), nullptr);
    EXPECT_THAT(send(batchOf({{"Keys", 5}})), SizeIs(5));
}

TEST_F(MIDIGatewayTest, EveryStepHasItsWordsAndItsRecords) {
    std::string pattern = (std::filesystem::temp_directory_path() / "varnolex-gateway-XXXXXX").string();
    const std::filesystem::path folder = mkdtemp(pattern.data());
    DiagnosticLog recorder(folder / "diag.vxld");
    const DiagnosticLogScope session(recorder);
    sendWindows("Keys", 600, 3);
    lines.clear();
    send(batchOf({{"Keys", 50}, {"Pads", 1}}));
    gateway.floodControl().mute(SharedName("Pads"));
    sendWindows("Keys", 1, 21);
    send(batchOf({{"Pads", 300}, {"Keys", 1}}));
    EXPECT_EQ(lines.front(), "[FLOOD] Keys entered flood mode (3 sustained windows @ 500+msgs/100ms)");
    EXPECT_EQ(lines[1], "[FLOOD-SAMPLE] Keys: passed 1/50 msgs (batch 4)");
    EXPECT_EQ(lines[2], "[FLOOD-SAMPLE] Keys: passed 1/1 msgs (batch 5)");
    EXPECT_EQ(lines.back(), "[FLOOD] Keys exited flood mode");

    recorder.attachment([](const DiagnosticLog::Attachment&) {});
    runtime.settle();
    std::vector<int> kinds;
    for (const auto& record : DiagnosticImage::fromBytes(readWholeFile(folder / "diag.vxld", 1 << 20))->records())
        kinds.push_back(static_cast<int>(record.kind));
    EXPECT_THAT(kinds, ElementsAre(8, 9, 16));
    std::filesystem::remove_all(folder);
}

TEST_F(MIDIGatewayTest, SubscribersAreReplacedByKeyAndMayLeaveWhileTheyAreServed) {
    std::vector<std::string> calls;
    const auto named = [&](const std::string& name) {
        return [&calls, name](const MessageList& messages) { calls.push_back(name + std::to_string(messages.size())); };
    };
    gateway.subscribeToSources("radar", named("old"));
    gateway.subscribeToSources("radar", named("new"));
    gateway.subscribeToListeners("radar", named("heard"));
    gateway.subscribeToListeners("activity", [&](const MessageList& messages) {
        calls.push_back("leaving" + std::to_string(messages.size()));
        gateway.unsubscribeFromListeners("activity");
        gateway.unsubscribeFromListeners("radar");
    });
    gateway.dispatchSourceMessages(batchOf({{"Keys", 2}}));
    gateway.dispatchListenerMessages(batchOf({{"Keys", 3}}));
    gateway.dispatchListenerMessages(batchOf({{"Keys", 4}}));
    gateway.dispatchSourceMessages({});
    EXPECT_THAT(calls, testing::UnorderedElementsAre("new2", "leaving3", "heard3"));
}

TEST_F(MIDIGatewayTest, WhatSourcesPlayReachesTheSubscribersOnceItIsStarted) {
    MIDISourceInfo keys;
    keys.displayName = "Keys";
    keys.endpointRef = service.plugSource({.displayName = "Keys"});
    gateway.connectSource(keys);
    gateway.floodControl().mute(SharedName("Keys"));
    gateway.start(client);
    gateway.start(client);
    EXPECT_THAT(lines, ElementsAre("[MIDIGateway] started"));
    EXPECT_THAT(gateway.floodControl().mutedEndpoints(), IsEmpty()) << "a start begins anew";
    const auto play = [&] {
        passed.clear();
        service.send(keys.endpointRef, OwnedList{{1, {0x90, 1, 2}}});
        runtime.runFor(PortInputStream::drainInterval);
        return passed.size();
    };
    EXPECT_EQ(play(), 0u);
    gateway.connectSource(keys);
    EXPECT_EQ(play(), 1u);
    gateway.stop();
    EXPECT_EQ(play(), 0u);
    gateway.start(client);
    gateway.connectSource(keys);
    EXPECT_EQ(play(), 1u);
    EXPECT_EQ(&MIDIGateway::shared(), &MIDIGateway::shared());
}

}  // namespace
}  // namespace varnolex
