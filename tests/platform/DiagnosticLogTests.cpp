#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "platform/DiagnosticLog.hpp"
#include "platform/EveryRuntime.hpp"
#include "platform/WholeFile.hpp"
#include "support/AllocationTrap.hpp"

namespace varnolex {

namespace fs = std::filesystem;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Record = DiagnosticImage::Record;

/// Kind, delta and payload as plain numbers.
std::vector<int> numbersOf(const Record& record) {
    std::vector<int> numbers{static_cast<int>(record.kind), record.delta};
    numbers.insert(numbers.end(), record.payload.begin(), record.payload.end());
    return numbers;
}

class DiagnosticLogTest : public testing::Test {
protected:
    DiagnosticLogTest() {
        std::string pattern = (fs::temp_directory_path() / "varnolex-diag-XXXXXX").string();
        folder = mkdtemp(pattern.data());
        file = folder / "inner" / "diag.vxld";
        runtime.setCalendar(1'000'000);
    }
    ~DiagnosticLogTest() override {
        std::error_code error;
        fs::remove_all(folder, error);
    }

    void put(const std::string& bytes) const {
        fs::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << bytes;
    }

    /// What the log writes out when it is asked to.
    DiagnosticImage flushed(DiagnosticLog& log) {
        log.attachment([](const DiagnosticLog::Attachment&) {});
        runtime.settle();
        auto image = DiagnosticImage::fromBytes(readWholeFile(file, 1 << 20));
        EXPECT_TRUE(image);
        return image ? *image : DiagnosticImage(0);
    }

    std::vector<std::vector<int>> written(DiagnosticLog& log) {
        std::vector<std::vector<int>> all;
        for (const Record& record : flushed(log).records()) all.push_back(numbersOf(record));
        return all;
    }

    VirtualRuntime runtime;
    RuntimeScope scope{runtime};
    fs::path folder;
    fs::path file;
};

TEST_F(DiagnosticLogTest, TheFileHasItsLayoutByteForByte) {
    DiagnosticLog log(file);
    log.endpointsChanged(1, 3, 300);
    runtime.runFor(std::chrono::seconds(258));
    log.portCreationFailed(1, -2);
    flushed(log);
    const std::string bytes = readWholeFile(file, 1 << 20);
    ASSERT_EQ(bytes.size(), 524288u);
    const auto hex = [&](std::size_t from, std::size_t count) {
        std::string text;
        for (const char byte : bytes.substr(from, count)) {
            char digits[3];
            std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned char>(byte));
            text += digits;
        }
        return text;
    };
    EXPECT_EQ(hex(0, 16),
              "56584402"
              "00000020"
              "000F4240"
              "00000000");
    EXPECT_EQ(hex(16, 8),
              "11"
              "0000"
              "0103FF0000");
    EXPECT_EQ(hex(24, 8),
              "0F"
              "0102"
              "FEFF01FFFF");
    EXPECT_EQ(hex(32, 8), "0000000000000000");
}

TEST_F(DiagnosticLogTest, EveryEventHasItsPayload) {
    DiagnosticLog log(file);
    const std::uint8_t note[]{0x80, 60, 64};
    const std::uint8_t exclusive[]{0xF0, 1, 2, 0xF7};
    log.applicationStarted();
    log.tool(1, 700, 5, true);
    log.rebuildStarted(2, 7, 256);
    log.received(3, note, 3, true);
    log.received(3, exclusive, 4, false);
    log.sent(4, note, 3, false);
    log.sent(4, note, 1, true);
    log.inputEvent(5, DiagnosticLog::InputEvent::disconnected, -2, true);
    log.rebuildEnded(2, 256, 9);
    log.outputStatus(6, DiagnosticLog::OutputCall::send, -3);
    log.outputEvent(6, DiagnosticLog::OutputEvent::batchInSeveralLists, 0x10203);
    log.floodEntered("a", 2);
    log.floodLeft("a", 1);
    log.mutedDrop("a", 70'000);
    log.parameterSequenceEnded(15, DiagnosticLog::SequenceEnd::flushed);
    const int mark = DiagnosticLog::nameMark("a");
    EXPECT_EQ(mark, 0xE40C ^ 0x292C);
    EXPECT_THAT(
        written(log),
        ElementsAre(ElementsAre(1, 0, 0, 0, 0, 0, 0), ElementsAre(2, 0, 1, 254, 5, 1, 0),
                    ElementsAre(3, 0, 2, 7, 255, 0, 0), ElementsAre(4, 0, 3, 0x80, 60, 64, 1),
                    ElementsAre(4, 0, 3, 0xF0, 1, 2, 2), ElementsAre(5, 0, 4, 0x80, 60, 64, 4),
                    ElementsAre(5, 0, 4, 0x80, 0, 0, 1), ElementsAre(7, 0, 5, 0xFE, 0xFF, 1, 2),
                    ElementsAre(12, 0, 2, 255, 9, 0, 0), ElementsAre(13, 0, 6, 3, 0xFD, 0xFF, 0),
                    ElementsAre(14, 0, 6, 3, 3, 2, 0), ElementsAre(8, 0, 2, mark & 255, mark >> 8, 0, 0),
                    ElementsAre(9, 0, 1, mark & 255, mark >> 8, 0, 0),
                    ElementsAre(16, 0, mark & 255, mark >> 8, 255, 255, 0), ElementsAre(19, 0, 15, 1, 0, 0, 0)));
}

TEST_F(DiagnosticLogTest, DeltasAreWholeSecondsAndSaturate) {
    DiagnosticLog log(file);
    const struct {
        std::int64_t step;
        int delta;
    } cases[]{{0, 0}, {3, 3}, {65'534, 65'534}, {65'535, 65'535}, {100'000, 65'535}, {-1, 65'535}, {2, 2}};
    std::vector<int> expected;
    for (const auto& one : cases) {
        runtime.setCalendar(runtime.calendarSeconds() + one.step);
        log.endpointsChanged(0, 0, 0);
        runtime.settle();
        expected.push_back(one.delta);
    }
    std::vector<int> deltas;
    for (const auto& record : written(log)) deltas.push_back(record[1]);
    EXPECT_EQ(deltas, expected);
}

TEST_F(DiagnosticLogTest, TheRingWrapsAndKeepsTheNewest) {
    DiagnosticLog log(file);
    constexpr int count = static_cast<int>(DiagnosticImage::recordCount) + 2;
    for (int index = 0; index < count; ++index) {
        log.outputEvent(0, DiagnosticLog::OutputEvent::batchInSeveralLists, static_cast<std::uint32_t>(index));
        if (index % 1000 == 0) runtime.settle();
    }
    const DiagnosticImage image = flushed(log);
    EXPECT_EQ(log.lostRecords(), 0u);
    EXPECT_EQ(image.head(), 16u + 2 * 8);
    const auto records = image.records();
    ASSERT_THAT(records, SizeIs(65'534));
    EXPECT_EQ(records.front().payload[2], 2);
    EXPECT_EQ(records.back().payload[2] | records.back().payload[3] << 8, (count - 1) & 0xFFFF);
}

TEST_F(DiagnosticLogTest, FloodsThatAreNoNotesGetEightRecordsASecond) {
    DiagnosticLog log(file);
    const std::uint8_t controller[]{0xB0, 7, 1};
    const std::uint8_t noteOff[]{0x80, 60, 0};
    const std::uint8_t clock[]{0xF8};
    const auto burst = [&] {
        for (int index = 0; index < 20; ++index) {
            log.received(0, controller, 3, true);
            log.received(0, clock, 1, true);
            log.received(40, controller, 3, true);
            log.received(31, controller, 3, true);
            log.sent(0, controller, 3, true);
            log.sent(0, noteOff, 3, true);
        }
        runtime.settle();
    };
    burst();
    EXPECT_THAT(written(log), SizeIs(8 + 8 + 8 + 20)) << "one index, the indices from 31 on, one output, the notes";
    burst();
    EXPECT_THAT(written(log), SizeIs(44 + 20)) << "the second is the same";
    runtime.runFor(std::chrono::seconds(1));
    burst();
    EXPECT_THAT(written(log), SizeIs(44 + 20 + 44));
}

TEST_F(DiagnosticLogTest, AFileIsTakenOverOrReplaced) {
    DiagnosticImage good(999'000);
    good.write({DiagnosticKind::tool, 1, {1, 2, 3, 4, 5}});
    const std::string whole = good.bytes();
    const auto withHead = [&](std::string head) { return std::string(whole).replace(4, 4, head); };
    const struct {
        const char* what;
        std::string bytes;
        std::uint32_t epoch;
        std::size_t head;
    } cases[]{
        {"one of ours", whole, 999'000, 32},
        {"too short", whole.substr(1), 1'000'000, 24},
        {"too long", whole + "x", 1'000'000, 24},
        {"empty", "", 1'000'000, 24},
        {"other magic", "VXD\x01" + whole.substr(4), 1'000'000, 24},
        {"head in the header", withHead({0, 0, 0, 15}), 999'000, 24},
        {"head at the end", withHead({0, 8, 0, 0}), 999'000, 24},
        {"head anywhere", withHead({-1, -1, -1, -1}), 999'000, 24},
        {"head at the last byte", withHead({0, 7, -1, -1}), 999'000, 16 + 7},
    };
    for (const auto& one : cases) {
        put(one.bytes);
        DiagnosticLog log(file);
        log.endpointsChanged(0, 0, 0);
        const DiagnosticImage image = flushed(log);
        EXPECT_EQ(image.epoch(), one.epoch) << one.what;
        EXPECT_EQ(image.head(), one.head) << one.what;
        EXPECT_EQ(image.records().back().kind, DiagnosticKind::endpointsChanged) << one.what;
    }
    const struct {
        std::int64_t calendar;
        std::uint32_t epoch;
    } calendars[]{{-1, 0}, {0xFFFF'FFFF, 0xFFFF'FFFF}, {0x1'0000'0000, 0}};
    for (const auto& one : calendars) {
        put("");
        runtime.setCalendar(one.calendar);
        DiagnosticLog log(file);
        log.applicationStarted();
        EXPECT_EQ(flushed(log).epoch(), one.epoch) << one.calendar;
    }
}

TEST_F(DiagnosticLogTest, AStartTellsTheTimeSinceTheEpoch) {
    const DiagnosticImage old(1);
    put(old.bytes());
    DiagnosticLog log(file);
    EXPECT_EQ(DiagnosticLog::shared(), nullptr);
    {
        runtime.setCalendar(0x01020305);
        const DiagnosticLogScope session(log);
        ASSERT_EQ(DiagnosticLog::shared(), &log);
        DiagnosticLog::shared()->applicationStarted();
    }
    EXPECT_EQ(DiagnosticLog::shared(), nullptr);
    EXPECT_THAT(written(log), ElementsAre(ElementsAre(1, 65535, 1, 2, 4, 3, 0)));
}

TEST_F(DiagnosticLogTest, TheFileIsWrittenEveryThirtySecondsAndFaultsHarmNobody) {
    {
        DiagnosticLog log(file);
        runtime.runFor(DiagnosticLog::flushInterval - Nanoseconds(1));
        EXPECT_FALSE(fs::exists(file));
        runtime.runFor(Nanoseconds(1));
        EXPECT_TRUE(fs::exists(file));
        const auto before = fs::last_write_time(file);
        runtime.runFor(std::chrono::hours(1));
        EXPECT_EQ(fs::last_write_time(file), before) << "nothing new to write";
        log.endpointsChanged(0, 0, 0);
    }
    runtime.runFor(std::chrono::minutes(1));
    EXPECT_EQ(runtime.pendingItems(), 0u);
    EXPECT_THAT(DiagnosticImage::fromBytes(readWholeFile(file, 1 << 20))->records(), IsEmpty());

    fs::remove_all(file);
    fs::create_directories(file);
    DiagnosticLog log(file);
    log.endpointsChanged(0, 0, 0);
    std::string state;
    log.stateSnapshotProvider = [] { return "more"; };
    log.attachment([&](const DiagnosticLog::Attachment& attachment) { state = attachment.state; });
    runtime.settle();
    EXPECT_EQ(state, "more") << "a file that can't be written isn't waited for";
    fs::remove_all(file);
    runtime.runFor(DiagnosticLog::flushInterval);
    EXPECT_TRUE(fs::is_regular_file(file)) << "what couldn't be written is written later";
}

TEST_F(DiagnosticLogTest, RecordingCostsNoAllocationAndAFullMailboxLosesAndCounts) {
    DiagnosticLog log(file);
    const std::uint8_t note[]{0x90, 60, 64};
    const auto record = [&] {
        for (int index = 0; index < 100; ++index) log.received(0, note, 3, true);
        runtime.settle();
    };
    record();
    const AllocationTrap trap;
    record();
    EXPECT_EQ(trap.count(), 0u);
    for (int index = 0; index < 5000; ++index) log.received(0, note, 3, true);
    EXPECT_EQ(log.lostRecords(), 5000u - 4096);
    EXPECT_THAT(written(log), SizeIs(200 + 4096));
}

TEST(DiagnosticLogThreads, RecordsOfManyThreadsArriveWholeAndInTheirOrder) {
    constexpr int threads = 3;
    constexpr int recordsOfEach = 15'000;
    std::string pattern = (fs::temp_directory_path() / "varnolex-diag-XXXXXX").string();
    const fs::path folder = mkdtemp(pattern.data());
    RealBench bench;
    const RuntimeScope scope(*bench.runtime);
    fs::path file;
    std::uint64_t lost = 0;
    {
        DiagnosticLog log(folder / "diag.vxld");
        {
            std::vector<std::jthread> writers;
            for (std::uint8_t writer = 0; writer < threads; ++writer)
                writers.emplace_back([&log, writer] {
                    for (std::uint32_t index = 0; index < recordsOfEach; ++index)
                        log.outputEvent(writer, DiagnosticLog::OutputEvent::batchInSeveralLists, index);
                });
        }
        log.attachment([&](const DiagnosticLog::Attachment& attachment) { file = attachment.file; });
        ASSERT_TRUE(bench.runUntil([&] { return !file.empty(); }));
        lost = log.lostRecords();
    }
    std::array<int, threads> last;
    last.fill(-1);
    std::size_t count = 0;
    for (const Record& record : DiagnosticImage::fromBytes(readWholeFile(file, 1 << 20))->records()) {
        const int value = record.payload[2] | record.payload[3] << 8;
        ASSERT_LT(record.payload[0], threads);
        ASSERT_GT(value, last[record.payload[0]]);
        last[record.payload[0]] = value;
        ++count;
    }
    EXPECT_EQ(count + lost, threads * std::size_t{recordsOfEach});
    fs::remove_all(folder);
}

}  // namespace
}  // namespace varnolex
