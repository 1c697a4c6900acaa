#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "CoreFixture.hpp"
#include "core/midifile/StandardMIDIFile.hpp"
#include "support/Places.hpp"

namespace varnolex {
namespace {

std::string chunk(const char* name, std::string_view body) {
    std::string bytes(name);
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(body.size() >> shift & 0xFF);
    return bytes.append(body);
}

std::string text(std::string_view bytes) {
    const auto read = hex(bytes);
    return {read.begin(), read.end()};
}

/// A file of a format and a division ("01E0" is 480 ticks) with the given track bodies.
std::string fileOf(std::string_view format, std::string_view division, const std::vector<std::string>& tracks) {
    const std::string count = tracks.size() < 10 ? "000" + std::to_string(tracks.size()) : "0010";
    std::string bytes = chunk("MThd", text(std::string(format) + count + std::string(division)));
    for (const std::string& track : tracks) bytes += chunk("MTrk", text(track));
    return bytes;
}

std::vector<std::string> merged(const MIDIFile& file) {
    std::vector<std::string> lines;
    MIDIFileMerge merge(file);
    for (MergedEvent event; merge.next(event);)
        lines.push_back(std::to_string(event.time / 1000) + " " + std::to_string(event.track) + " " +
                        hexText(event.bytes));
    return lines;
}

using Lines = std::vector<std::string>;

TEST(StandardMIDIFileTest, ReadsEventsInOrderOfTime) {
    const struct {
        const char* what;
        std::string contents;
        Lines expected;
    } cases[]{
        {"running status",
         fileOf("0000", "01E0", {"00 90 3C 64 83 60 3C 00 00 C1 05 00 06 00 FF 2F 00"}),
         {"0 0 90 3C 64", "500000 0 90 3C 00", "500000 0 C1 05", "500000 0 C1 06"}},
        {"running status outlives a meta event",
         fileOf("0000", "01E0", {"00 90 3C 64 00 FF 01 01 41 00 3D 64"}),
         {"0 0 90 3C 64", "0 0 90 3D 64"}},
        {"tempo of the first track times the second",
         fileOf("0001", "01E0", {"00 FF 51 03 0F 42 40 83 60 FF 51 03 03 D0 90", "83 60 90 3C 64 83 60 80 3C 40"}),
         {"1000000 1 90 3C 64", "1250000 1 80 3C 40"}},
        {"tracks of one tick keep their order",
         fileOf("0001", "01E0", {"0A 91 01 01 00 91 02 02", "00 92 01 01 0A 92 03 03", "0A 93 01 01"}),
         {"0 1 92 01 01", "10416 0 91 01 01", "10416 0 91 02 02", "10416 1 92 03 03", "10416 2 93 01 01"}},
        {"sequences of format 2 begin together",
         fileOf("0002", "01E0", {"00 91 01 01", "00 92 01 01"}),
         {"0 0 91 01 01", "0 1 92 01 01"}},
        {"SMPTE 25 frames of 40 ticks",
         fileOf("0000", "E728", {"00 FF 51 03 00 00 01 64 90 3C 64"}),
         {"100000 0 90 3C 64"}},
        {"SMPTE 29.97 frames of 80 ticks", fileOf("0000", "E350", {"50 90 3C 64"}), {"33366 0 90 3C 64"}},
        {"SysEx whole and in packets",
         fileOf("0000", "01E0",
                {"00 F0 03 01 02 F7 00 F0 02 03 04 60 F7 01 05 00 FF 06 01 41 60 F7 02 06 F7 00 80 01 02"}),
         {"0 0 F0 01 02 F7", "0 0 F0 03 04 05 06 F7", "200000 0 80 01 02"}},
        {"escapes", fileOf("0000", "01E0", {"00 F7 01 F8 00 F7 00 00 F7 03 F3 01 F6"}), {"0 0 F8", "0 0 F3 01 F6"}},
        {"SysEx without an end",
         fileOf("0000", "01E0", {"00 F0 02 01 02 00 90 3C 64 00 F0 01 03"}),
         {"0 0 F0 01 02", "0 0 90 3C 64", "0 0 F0 03"}},
        {"nothing behind the end of a track", fileOf("0000", "01E0", {"00 FF 2F 00 00 90 3C 64"}), {}},
        {"unknown chunks and junk behind the last track",
         chunk("MThd", text("0000 0001 01E0 FFFF")) + chunk("XFIH", "abc") + chunk("MTrk", text("00 F7 01 FE")) +
             "MTrk\x7F\xFF\xFF\xFF",
         {"0 0 FE"}},
    };
    for (const auto& one : cases) {
        try {
            const MIDIFile file = StandardMIDIFile::read(one.contents);
            EXPECT_EQ(merged(file), one.expected) << one.what;
            EXPECT_EQ(StandardMIDIFile::write(file),
                      StandardMIDIFile::write(StandardMIDIFile::read(StandardMIDIFile::write(file))))
                << one.what;
        } catch (const MIDIFileError& error) {
            ADD_FAILURE() << one.what << ": " << error.what();
        }
    }
}

TEST(StandardMIDIFileTest, RefusesBrokenFilesAndNamesThePlace) {
    const std::string promise = fileOf("0001", "01E0", {"00 FF 2F 00", "00 FF 2F 00"});
    const struct {
        std::string contents;
        const char* error;
    } cases[]{
        {"", "offset 0x0: expected the header"},
        {"RIFF0000RMIDdata", "offset 0x0: expected the header"},
        {chunk("MThd", "12345") + "padding", "offset 0x4: the file's header is too short"},
        {fileOf("0003", "01E0", {}), "offset 0x8: expected format 0, 1 or 2"},
        {fileOf("0000", "0000", {}), "offset 0xc: a quarter note can't have 0 ticks"},
        {fileOf("0000", "E628", {}), "offset 0xc: expected 24, 25, 29 or 30 frames"},
        {fileOf("0000", "E700", {}), "offset 0xc: a frame can't have 0 ticks"},
        {promise.substr(0, promise.size() - 1),
         "track 2, offset 0x1a: the chunk promises 4 bytes, but the file ends after 3"},
        {promise.substr(0, promise.size() - 9), "offset 0x1d: the header promises 2 tracks, but the file ends after 1"},
        {fileOf("0000", "01E0", {"00 90 3C"}), "track 1, offset 0x19: the track ends inside a message"},
        {fileOf("0000", "01E0", {"00 3C 64"}), "track 1, offset 0x17: expected a status byte"},
        {fileOf("0000", "01E0", {"00 90 3C 90"}), "track 1, offset 0x19: expected a data byte"},
        {fileOf("0000", "01E0", {"00 F8"}), "track 1, offset 0x17: this status byte has no place"},
        {fileOf("0000", "01E0", {"00"}), "track 1, offset 0x17: the track ends where an event"},
        {fileOf("0000", "01E0", {"FF FF FF FF 00"}), "track 1, offset 0x16: expected a variable-length number"},
        {fileOf("0000", "01E0", {"81"}), "track 1, offset 0x17: the track ends inside a delta time"},
        {fileOf("0000", "01E0", {"00 F0 05 01 02"}), "track 1, offset 0x19: the SysEx packet is longer"},
        {fileOf("0000", "01E0", {"00 FF 01 FF FF FF 7F 00"}), "track 1, offset 0x1d: the meta event is longer"},
        {fileOf("0000", "01E0", {"00 FF 51 03 00 00 00"}), "track 1, offset 0x17: a tempo of 0"},
        {fileOf("0000", "0001", {"00 FF 51 03 FF FF FF FF FF FF 7F 90 01 01"}), "offset 0x0: the music lasts longer"},
    };
    for (const auto& one : cases) {
        try {
            StandardMIDIFile::read(one.contents);
            ADD_FAILURE() << one.error;
        } catch (const MIDIFileError& error) {
            EXPECT_THAT(error.what(), testing::StartsWith(one.error));
        }
    }
}

MIDIFile example() {
    MIDIFile file;
    file.division = MIDIFileDivision::metrical(480);
    file.tempos = {{0, 500'000}, {960, 400'001}};
    file.timeSignatures = {{0, 3, 2, 24, 8}, {960, 7, 3, 24, 8}};
    file.keySignatures = {{0, -3, true}};
    file.tracks.resize(2);
    file.tracks[0].name = "Bass";
    file.tracks[1].name = "L\xC3\xA4rm, \"laut\"";
    file.append(file.tracks[0], 0, hex("90 3C 64"));
    file.append(file.tracks[0], 480, hex("80 3C 40"));
    file.append(file.tracks[0], 480, hex("C0 05"));
    file.append(file.tracks[0], 0x12345678, hex("D0 05"));
    for (const char* bytes :
         {"F0 01 02 F7", "F8", "F0 01", "F0 90 F7", "90 3C", "F2 01 02", "F0 F7", "3C", "F0 03 F8 F7"})
        file.append(file.tracks[1], 700, hex(bytes));
    return file;
}

TEST(StandardMIDIFileTest, BringsBackWhatItWrote) {
    const MIDIFile file = example();
    const MIDIFile back = StandardMIDIFile::read(StandardMIDIFile::write(file));
    EXPECT_EQ(back.division, file.division);
    EXPECT_EQ(back.tempos, file.tempos);
    EXPECT_EQ(back.timeSignatures, file.timeSignatures);
    EXPECT_EQ(back.keySignatures, file.keySignatures);
    ASSERT_EQ(back.tracks.size(), 3u);
    for (std::size_t track = 0; track < 2; ++track) {
        EXPECT_EQ(back.tracks[track + 1].name, file.tracks[track].name);
        ASSERT_EQ(back.tracks[track + 1].events.size(), file.tracks[track].events.size());
        for (std::size_t index = 0; index < file.tracks[track].events.size(); ++index) {
            EXPECT_EQ(back.tracks[track + 1].events[index].tick, file.tracks[track].events[index].tick);
            EXPECT_EQ(hexText(back.bytes(back.tracks[track + 1].events[index])),
                      hexText(file.bytes(file.tracks[track].events[index])));
        }
    }
    for (const auto division : {MIDIFileDivision::smpte(29, 80), MIDIFileDivision::smpte(24, 255)}) {
        MIDIFile other;
        other.division = division;
        EXPECT_EQ(StandardMIDIFile::read(StandardMIDIFile::write(other)).division, division);
    }
}

TEST(StandardMIDIFileTest, RefusesWhatTheFormatCannotTell) {
    MIDIFile backwards;
    backwards.tracks.resize(1);
    backwards.append(backwards.tracks[0], 10, hex("90 01 01"));
    backwards.append(backwards.tracks[0], 9, hex("90 01 01"));
    EXPECT_THROW(StandardMIDIFile::write(backwards), MIDIFileError);
    MIDIFile late;
    late.tracks.resize(1);
    late.append(late.tracks[0], 1ull << 60, hex("90 01 01"));
    EXPECT_THROW(StandardMIDIFile::write(late), MIDIFileError);
    MIDIFile crowded;
    crowded.tracks.resize(0x10000);
    for (auto& track : crowded.tracks) track.name = "x";
    EXPECT_THROW(StandardMIDIFile::write(crowded), MIDIFileError);
}

TEST(StandardMIDIFileTest, WritesWhatAnotherReaderAccepts) {
    if (std::system("command -v midicsv > /dev/null 2>&1") != 0) GTEST_SKIP() << "midicsv isn't installed";
    const auto path = std::filesystem::temp_directory_path() / ("varnolex-" + std::to_string(getpid()) + ".mid");
    std::ofstream(path, std::ios::binary) << StandardMIDIFile::write(example());
    const std::string command = "midicsv '" + path.string() + "' 2>&1";
    std::string heard;
    FILE* pipe = popen(command.c_str(), "r");
    for (int character = std::fgetc(pipe); character != EOF; character = std::fgetc(pipe))
        heard += static_cast<char>(character);
    EXPECT_EQ(pclose(pipe), 0);
    std::filesystem::remove(path);
    EXPECT_THAT(heard, testing::StartsWith("0, 0, Header, 1, 3, 480\n"));
    for (const char* line :
         {"1, 960, Tempo, 400001\n", "1, 960, Time_signature, 7, 3, 24, 8\n", "1, 0, Key_signature, -3, \"minor\"\n",
          "2, 0, Title_t, \"Bass\"\n", "2, 480, Note_off_c, 0, 60, 64\n", "2, 305419896, Channel_aftertouch_c, 0, 5\n",
          "3, 700, System_exclusive, 3, 1, 2, 247\n", "3, 700, System_exclusive_packet, 1, 248\n", "0, 0, End_of_file"})
        EXPECT_THAT(heard, testing::HasSubstr(line));
}

TEST(StandardMIDIFileTest, ReadsTheCorpusOrRefusesIt) {
    const std::filesystem::path corpus = sourceFolder() / "tests/corpus/midi";
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(corpus)) {
        std::ifstream stream(entry.path(), std::ios::binary);
        const std::string contents{std::istreambuf_iterator<char>(stream), {}};
        const bool isGood = entry.path().filename().string().starts_with("good");
        ++count;
        try {
            EXPECT_FALSE(merged(StandardMIDIFile::read(contents)).empty()) << entry.path();
            EXPECT_TRUE(isGood) << entry.path();
        } catch (const MIDIFileError& error) {
            EXPECT_FALSE(isGood) << entry.path() << ": " << error.what();
        }
    }
    EXPECT_GE(count, 8u);
}

TEST(TempoMapTest, BringsEveryTickBack) {
    const std::vector<TempoChange> wild{{0, 500'000},  {7, 333'333},       {7, 333'334},    {100, 1'000'003},
                                        {101, 60'000}, {5000, 16'777'215}, {20'000, 32'767}};
    const struct {
        MIDIFileDivision division;
        std::vector<TempoChange> tempos;
    } cases[]{
        {MIDIFileDivision::metrical(480), wild},
        {MIDIFileDivision::metrical(32'767), wild},
        {MIDIFileDivision::metrical(1), wild},
        {MIDIFileDivision::metrical(960), {}},
        {MIDIFileDivision::metrical(1000), {{3, 1}, {9, 1001}}},
        {MIDIFileDivision::metrical(999), {{0, 1}}},
        {MIDIFileDivision::smpte(29, 80), wild},
        {MIDIFileDivision::smpte(29, 255), {}},
        {MIDIFileDivision::smpte(24, 7), {}},
        {MIDIFileDivision::smpte(30, 1), {}},
    };
    for (const auto& one : cases) {
        const TempoMap map(one.division, one.tempos);
        TempoCursor cursor(map);
        const auto check = [&](std::uint64_t tick) {
            ASSERT_EQ(map.nearestTick(map.nanoseconds(tick)), tick) << one.division.ticksPerQuarter;
            ASSERT_EQ(cursor.nanoseconds(tick), map.nanoseconds(tick));
        };
        for (std::uint64_t tick = 0; tick < 30'000; ++tick) check(tick);
        for (std::uint64_t tick = 1; tick < 1ull << 31; tick = tick * 3 + 1) check(tick);
    }
}

TEST(TempoMapTest, IsExactAndFindsTheNearestTick) {
    const TempoMap drop(MIDIFileDivision::smpte(29, 100), {});
    EXPECT_EQ(drop.nanoseconds(3'000'000), 1001ull * 1'000'000'000);
    const TempoMap map(MIDIFileDivision::metrical(480), std::vector<TempoChange>{{960, 250'000}});
    EXPECT_EQ(map.nanoseconds(960), 1'000'000'000u);
    EXPECT_EQ(map.nanoseconds(1440), 1'250'000'000u);
    EXPECT_EQ(map.nearestTick(1'000'000'000 - 500'000), 960u);
    EXPECT_EQ(map.nearestTick(1'000'000'000 - 600'000), 959u);
    EXPECT_EQ(map.nearestTick(1'000'000'000 + 200'000), 960u);
    EXPECT_EQ(map.nearestTick(1'000'000'000 + 300'000), 961u);
    EXPECT_EQ(map.tempoEnd(0), 960u);
    EXPECT_EQ(map.microsecondsPerQuarter(959), 500'000u);
    EXPECT_EQ(map.microsecondsPerQuarter(960), 250'000u);
    const TempoMap slow(MIDIFileDivision::metrical(1), std::vector<TempoChange>{{0, 0xFFFFFF}, {~0ull - 1, 1}});
    EXPECT_EQ(slow.nanoseconds(~0ull), TempoMap::latestTime);
}

}  // namespace
}  // namespace varnolex
