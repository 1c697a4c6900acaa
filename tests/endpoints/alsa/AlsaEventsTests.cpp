#include <alsa/asoundlib.h>
#include <gtest/gtest.h>

#include "endpoints/ServiceFixture.hpp"
#include "endpoints/alsa/AlsaEvents.hpp"
#include "endpoints/alsa/AlsaRoom.hpp"

namespace varnolex {
namespace {

Bytes decoded(AlsaCodec& codec, const snd_seq_event_t& event) {
    const auto bytes = codec.decode(event);
    return {bytes.begin(), bytes.end()};
}

snd_seq_event_t controlEvent(snd_seq_event_type type, unsigned channel, unsigned param, int value) {
    snd_seq_event_t event{};
    event.type = static_cast<snd_seq_event_type_t>(type);
    event.data.control.channel = static_cast<unsigned char>(channel);
    event.data.control.param = param;
    event.data.control.value = value;
    return event;
}

TEST(AlsaEvents, EveryMessagePassesThroughAnEventUnchanged) {
    AlsaCodec codec;
    std::vector<Bytes> messages{
        {0xF1, 0x35}, {0xF2, 1, 2}, {0xF3, 4}, {0xF6}, {0xF8}, {0xFA}, {0xFB}, {0xFC}, {0xFE}, {0xFF},
    };
    for (std::uint8_t channel = 0; channel < 16; ++channel)
        for (const Bytes& data : {Bytes{0, 0}, Bytes{127, 127}, Bytes{60, 1}, Bytes{0, 64}})
            for (const std::uint8_t kind : {0x80, 0x90, 0xA0, 0xB0, 0xC0, 0xD0, 0xE0}) {
                Bytes message{static_cast<std::uint8_t>(kind | channel), data[0]};
                if ((kind & 0xE0) != 0xC0) message.push_back(data[1]);
                messages.push_back(message);
            }
    for (const Bytes& message : messages) {
        SCOPED_TRACE(testing::PrintToString(message));
        snd_seq_event_t event;
        ASSERT_TRUE(codec.encode(message, event));
        EXPECT_TRUE(snd_seq_ev_is_direct(&event));
        EXPECT_TRUE(snd_seq_ev_is_fixed(&event));
        EXPECT_EQ(decoded(codec, event), message);
    }
}

TEST(AlsaEvents, PiecesOfASysExPassAsTheyAre) {
    AlsaCodec codec;
    for (const Bytes& piece : {Bytes{0xF0, 1, 2}, Bytes{3, 4, 5}, Bytes{6, 0xF7}, Bytes{0xF7}, Bytes(256, 7)}) {
        snd_seq_event_t event;
        ASSERT_TRUE(codec.encode(piece, event));
        EXPECT_TRUE(snd_seq_ev_is_variable(&event));
        EXPECT_EQ(event.data.ext.len, piece.size());
        EXPECT_EQ(decoded(codec, event), piece);
    }
}

TEST(AlsaEvents, WhatTheSequencerCannotSayIsRefused) {
    AlsaCodec codec;
    for (const Bytes& message : {Bytes{}, Bytes{0xF4}, Bytes{0xF5}, Bytes{0xF9}, Bytes{0xFD}, Bytes{0x90, 60}}) {
        snd_seq_event_t event;
        EXPECT_FALSE(codec.encode(message, event)) << testing::PrintToString(message);
    }
    // What was refused leaves nothing behind.
    snd_seq_event_t event;
    ASSERT_TRUE(codec.encode(Bytes{0x91, 61, 5}, event));
    EXPECT_EQ(decoded(codec, event), (Bytes{0x91, 61, 5}));
}

TEST(AlsaEvents, EventsOfSeveralMessagesBecomeAllOfThemEachWithItsStatus) {
    AlsaCodec codec;
    snd_seq_event_t note{};
    note.type = SND_SEQ_EVENT_NOTE;
    note.data.note = {2, 60, 100, 40, 500};
    const std::vector<std::pair<snd_seq_event_t, Bytes>> cases{
        {controlEvent(SND_SEQ_EVENT_CONTROL14, 1, 7, 1000), {0xB1, 7, 7, 0xB1, 39, 104}},
        {controlEvent(SND_SEQ_EVENT_CONTROL14, 1, 64, 127), {0xB1, 64, 127}},
        {controlEvent(SND_SEQ_EVENT_NONREGPARAM, 3, 300, 1000), {0xB3, 99, 2, 0xB3, 98, 44, 0xB3, 6, 7, 0xB3, 38, 104}},
        {controlEvent(SND_SEQ_EVENT_REGPARAM, 15, 2, 8192), {0xBF, 101, 0, 0xBF, 100, 2, 0xBF, 6, 64, 0xBF, 38, 0}},
        {controlEvent(SND_SEQ_EVENT_PITCHBEND, 0, 0, -8192), {0xE0, 0, 0}},
        {note, {0x92, 60, 100, 0x82, 60, 40}},
    };
    for (const auto& [event, bytes] : cases) EXPECT_EQ(decoded(codec, event), bytes);
}

TEST(AlsaEvents, WhatIsNoMIDIIsNothing) {
    AlsaCodec codec;
    for (const int type : {SND_SEQ_EVENT_TEMPO, SND_SEQ_EVENT_ECHO, SND_SEQ_EVENT_NONE, SND_SEQ_EVENT_PORT_START,
                           SND_SEQ_EVENT_USR_VAR0, SND_SEQ_EVENT_TICK, SND_SEQ_EVENT_SYSEX}) {
        snd_seq_event_t event{};
        event.type = static_cast<snd_seq_event_type_t>(type);
        EXPECT_TRUE(codec.decode(event).empty()) << type;
    }
}

TEST(AlsaEvents, AnnouncementsTellWhatChangesTheListOfEndpoints) {
    const auto announcement = [](int type, unsigned char sender) {
        snd_seq_event_t event{};
        event.type = static_cast<snd_seq_event_type_t>(type);
        event.source.client = sender;
        event.data.connect.sender = {20, 3};
        event.data.connect.dest = {21, 4};
        return newsOf(event);
    };
    using Kind = AlsaNews::Kind;
    for (const auto& [type, kind] : std::vector<std::pair<int, Kind>>{{SND_SEQ_EVENT_PORT_START, Kind::appeared},
                                                                      {SND_SEQ_EVENT_PORT_EXIT, Kind::changed},
                                                                      {SND_SEQ_EVENT_PORT_CHANGE, Kind::changed},
                                                                      {SND_SEQ_EVENT_CLIENT_EXIT, Kind::changed},
                                                                      {SND_SEQ_EVENT_CLIENT_CHANGE, Kind::changed},
                                                                      {SND_SEQ_EVENT_PORT_SUBSCRIBED, Kind::changed},
                                                                      {SND_SEQ_EVENT_PORT_UNSUBSCRIBED, Kind::changed},
                                                                      {SND_SEQ_EVENT_CLIENT_START, Kind::none},
                                                                      {SND_SEQ_EVENT_NOTEON, Kind::none}}) {
        EXPECT_EQ(announcement(type, SND_SEQ_CLIENT_SYSTEM).kind, kind) << type;
        EXPECT_EQ(announcement(type, 128).kind, Kind::none) << "a client can't announce others";
    }
    EXPECT_EQ(announcement(SND_SEQ_EVENT_PORT_START, 0).address, (AlsaAddress{20, 3}));
}

TEST(AlsaEvents, AnEventTakesACellAndOneForEach28BytesOfItsSysEx) {
    EXPECT_EQ(alsaCellsFor(0), 1);
    EXPECT_EQ(alsaCellsFor(28), 2);
    EXPECT_EQ(alsaCellsFor(29), 3);
    EXPECT_EQ(alsaCellsFor(256), 11);
}

}  // namespace
}  // namespace varnolex
