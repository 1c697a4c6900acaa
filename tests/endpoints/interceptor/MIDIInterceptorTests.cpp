#include <gmock/gmock.h>

#include "core/message/Message.hpp"
#include "endpoints/interceptor/DriverDouble.hpp"
#include "endpoints/interceptor/MIDIInterceptor.hpp"

namespace varnolex {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class MIDIInterceptorTest : public DriverFixture {
protected:
    MIDIInterceptorTest() {
        interceptor.onMessages = [this](const MessageList& messages) {
            batches.push_back(messages.size());
            for (const MessageRef& message : messages)
                if (batches.size() < 5)
                    heard.push_back(std::string(message->originatingEndpointName.view()) + ":" +
                                    std::to_string(message->statusByte));
        };
    }

    MIDIDestinationInfo plugNamed(const std::string& name, std::int32_t uniqueID) {
        return {.uniqueID = uniqueID, .displayName = name, .endpointRef = plug(name, uniqueID)};
    }

    std::vector<std::size_t> batches;
    MIDIInterceptor interceptor{ports};
};

TEST_F(MIDIInterceptorTest, WithoutADriverItStaysSilentAndNothingRetries) {
    interceptor.start();
    EXPECT_FALSE(interceptor.isAvailable());
    openDriver();
    interceptor.add(plugNamed("Synth", 9));
    runtime.runFor(10s);
    EXPECT_FALSE(interceptor.isAvailable());
    EXPECT_THAT(interceptor.activeEndpoints(), IsEmpty());
    EXPECT_THAT(told, IsEmpty());
}

TEST_F(MIDIInterceptorTest, HandsOnWhatOthersSentTenTimesASecond) {
    openDriver();
    interceptor.start();
    ASSERT_TRUE(interceptor.isAvailable());
    const auto synth = plugNamed("Synth", 9);
    const auto organ = plugNamed("Organ", 10);
    interceptor.add(synth);
    interceptor.add(synth);
    interceptor.add(organ);
    forward(10, OwnedList{{5, {0xF8}}});
    forward(9, OwnedList{{5, {0x90, 1, 2}}, {6, {0xF0, 1}}});
    forward(9, OwnedList{{7, {2, 0xF7}}});
    runtime.runFor(99ms);
    EXPECT_THAT(batches, IsEmpty());
    runtime.runFor(1ms);
    EXPECT_THAT(batches, ElementsAre(3));
    EXPECT_THAT(heard, ElementsAre("Synth →:144", "Synth →:240", "Organ →:248"));
    interceptor.remove(synth);
    forward(9, OwnedList{{8, {0xF8}}});
    runtime.runFor(1s);
    EXPECT_THAT(batches, ElementsAre(3));
    EXPECT_THAT(takeTold(), ElementsAre("1:7", "2:7,9", "2:7,10", "3:7,9"));
    EXPECT_THAT(interceptor.activeEndpoints(), ElementsAre(organ.endpointRef));
}

TEST_F(MIDIInterceptorTest, AFailedConnectionIsTriedAgainByTheNextAdd) {
    openDriver();
    interceptor.start();
    auto synth = plugNamed("Synth", 9);
    auto unknown = synth;
    unknown.endpointRef = 9999;
    interceptor.add(unknown);
    EXPECT_THAT(interceptor.activeEndpoints(), IsEmpty());
    interceptor.add(synth);
    EXPECT_THAT(interceptor.activeEndpoints(), ElementsAre(synth.endpointRef));
}

TEST_F(MIDIInterceptorTest, AFullBufferDropsWhatComesAndKeepsWhatItHolds) {
    openDriver();
    interceptor.start();
    interceptor.add(plugNamed("Synth", 9));
    // A list of clock messages, of which the limit is no multiple.
    constexpr std::size_t perList = 60'001;
    std::vector<std::uint8_t> memory(perList + 100);
    PacketListBuilder builder(memory);
    const Bytes clocks(perList, 0xF8);
    ASSERT_TRUE(builder.add(1, clocks));
    for (int list = 0; list < 3; ++list) forward(9, builder.list());
    forward(9, OwnedList{{1, {0xFA}}});
    forward(9, builder.list());
    forward(9, OwnedList{{1, {0xFC}}});
    std::size_t stops = 0, starts = 0;
    interceptor.onMessages = [&](const MessageList& messages) {
        batches.push_back(messages.size());
        for (const MessageRef& message : messages) {
            starts += message->statusByte == 0xFA;
            stops += message->statusByte == 0xFC;
        }
    };
    runtime.runFor(100ms);
    EXPECT_THAT(batches, ElementsAre(200'000));
    EXPECT_EQ(starts, 1u);
    EXPECT_EQ(stops, 0u) << "it came when the buffer was full";
    forward(9, OwnedList{{1, {0xFC}}});
    runtime.runFor(100ms);
    EXPECT_EQ(stops, 1u);
}

}  // namespace
}  // namespace varnolex
