#include "core/midifile/MIDIFile.hpp"
#include "tools/looper/LooperMIDIFile.hpp"
#include "tools/looper/LooperProbe.hpp"

namespace varnolex::testing {
namespace {

constexpr char head[] = "MThd\0\0\0\6\0\0\0\1";

std::string fileOf(std::string_view division, const std::string& track) {
    return std::string(head, 12) + std::string(division) + "MTrk" + std::string(3, '\0') +
           static_cast<char>(track.size()) + track;
}

std::string textOf(const LoopBuffer& loop) {
    std::string text = std::to_string(loop.lengthInTicks) + ":";
    for (const LooperNoteEvent& note : loop.events)
        text += " " + std::to_string(note.tick) + "/" + std::to_string(note.note) + "+" + std::to_string(note.duration);
    for (const LooperRawEvent& raw : loop.rawEvents)
        text += " " + std::to_string(raw.tick) + "=" + std::to_string(raw.b0);
    return text;
}

TEST(LooperFiles, readsWhatAnyFileHolds) {
    using namespace std::string_literals;
    const auto end = "\0\xFF\x2F\0"s;
    LoopBuffer loop;
    const auto read = [&](const std::string& file) {
        LooperMIDIFile::read(file, loop);
        return textOf(loop);
    };
    // 480 a quarter note: one at its beginning, running status, the other still open at the end of the third quarter.
    EXPECT_EQ(read(fileOf("\1\xE0"s, "\0\x90\x3C\x64\x83\x60\x3C\0\0\x40\x64\x87\x40\xB0\7\1"s + end)),
              "96: 0/60+24 24/64+48 72=176");
    EXPECT_EQ(read(fileOf("\0\x18"s, end)), "96:");
    EXPECT_EQ(read(fileOf("\0\x18"s, "\0\xC0\5\x81\x10\xFF\x2F\0"s)), "192: 0=192") << "half a bar rounds up";
    EXPECT_EQ(read(fileOf("\0\x18"s, "\0\x90\x3C\x64\0\x80\x3C\0"s + end)), "96: 0/60+1");
    for (const std::string& bad : {""s, "MThd"s, "RIFF and so on"s, fileOf("\0\0"s, end)})
        EXPECT_THROW(read(bad), MIDIFileError);
}

TEST(LooperFiles, aLoopComesBackAsItWas) {
    LooperProbe probe;
    EXPECT_EQ(probe.looper().exportMIDIFile(), "");
    probe.looper().requestAction(LooperAction::record);
    probe.turn(1, 5);
    probe.tick(96);
    probe.looper().requestAction(LooperAction::stop);
    EXPECT_EQ(probe.looper().exportMIDIFile(), "") << "no note";
    probe.playLoop(8, {10, 90});
    const std::string file = probe.looper().exportMIDIFile();
    EXPECT_EQ(file.substr(0, 22), std::string("MThd\0\0\0\6\0\0\0\1\0\x18MTrk\0\0\0\x14", 22));
    probe.tick(12);
    probe.taken();
    EXPECT_FALSE(probe.looper().importMIDIFile("nothing of the kind"));
    EXPECT_EQ(takenText(probe), "");
    EXPECT_TRUE(probe.looper().importMIDIFile(file));
    EXPECT_EQ(takenText(probe), "80 3C 00, - |") << "what sounded ends";
    EXPECT_EQ(probe.transport(), LooperTransport::stopped);
    EXPECT_EQ(probe.shown().totalBars, 2u);
    EXPECT_EQ(probe.looper().exportMIDIFile(), file);
    probe.looper().requestAction(LooperAction::play);
    EXPECT_EQ(probe.heard(192), "10:60 90:61");
}

TEST(LooperFiles, documentsKeepTheLoopToTheTick) {
    LooperProbe probe, other;
    EXPECT_TRUE(probe.tool->content().empty());
    probe.playLoop(2, {10});
    probe.looper().requestAction(LooperAction::overdub);
    probe.turn(7, 3);
    const auto list = probe.tool->content();
    EXPECT_EQ(list, (std::vector<std::int64_t>{48, 1, 10, 60, 100, 0, 6, 0, 0xB0, 7, 3}));
    other.tool->adoptContent(list);
    EXPECT_EQ(other.tool->content(), list);
    EXPECT_EQ(other.transport(), LooperTransport::stopped);
    other.tool->adoptContent(std::vector<std::int64_t>{96, 0});
    EXPECT_EQ(other.tool->content(), list) << "a loop that is there isn't replaced";
    using List = std::vector<std::int64_t>;
    const List loud{96, 1, 0, 128, 1, 0, 1}, far{96, 1, 200'000'000, 60, 1, 0, 1};
    for (const List& bad : {List{}, {0, 0}, {96}, {96, 1}, loud, far, {96, 0, 1, 0x90}, {96, -1}, {96, 99999999}})
        EXPECT_THROW(LooperProbe().tool->adoptContent(bad), ParameterError);
}

}  // namespace
}  // namespace varnolex::testing
