#include "cli/RecorderDump.hpp"

#include <chrono>
#include <cstdio>
#include <optional>

#include "cli/CommandFailure.hpp"
#include "cli/RecordDescription.hpp"
#include "cli/Streams.hpp"
#include "core/text/TextPieces.hpp"
#include "platform/DiagnosticImage.hpp"

namespace varnolex {
namespace {

using Record = DiagnosticImage::Record;

/// Follows the records' time. It is known from a start on, until a pause of more than the format can tell.
class Clock {
public:
    explicit Clock(std::uint32_t epochSeconds) : epoch(epochSeconds) {}

    void advance(const Record& record) {
        if (record.kind == DiagnosticKind::applicationStart)
            calendar = std::int64_t{epoch} + secondsOfStart(record);
        else if (record.delta == DiagnosticImage::longestDelta)
            calendar.reset();
        else if (calendar)
            *calendar += record.delta;
        sinceLast = record.delta;
    }

    /// Seconds of the calendar.
    std::optional<std::int64_t> time() const { return calendar; }

    std::string text() const {
        if (!calendar)
            return (sinceLast == DiagnosticImage::longestDelta ? "+65535 s or more"
                                                               : "+" + std::to_string(sinceLast) + " s");
        using namespace std::chrono;
        const sys_seconds moment{seconds{*calendar}};
        const auto day = floor<days>(moment);
        const year_month_day date{day};
        const hh_mm_ss hours{moment - day};
        char written[64];
        std::snprintf(written, sizeof written, "%04d-%02u-%02u %02d:%02d:%02d", static_cast<int>(date.year()),
                      static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                      static_cast<int>(hours.hours().count()), static_cast<int>(hours.minutes().count()),
                      static_cast<int>(hours.seconds().count()));
        return written;
    }

private:
    const std::uint32_t epoch;
    std::optional<std::int64_t> calendar;
    std::uint16_t sinceLast = 0;
};

void appendJSON(std::string& out, const Record& record, const Clock& clock) {
    out += "{\"time\":" + (clock.time() ? std::to_string(*clock.time()) : std::string("null"));
    out += ",\"delta\":" + std::to_string(record.delta);
    out += ",\"kind\":" + std::to_string(static_cast<int>(record.kind)) + ",\"name\":";
    appendJSONString(out, nameOfRecord(record.kind));
    out += ",\"payload\":";
    appendJSONBytes(out, record.payload);
    out += ",\"text\":";
    appendJSONString(out, descriptionOfRecord(record));
    out += "}\n";
}

}  // namespace

bool isRecorderFileName(const std::string& file) { return hasEnding(file, {".vxld"}); }

void dumpRecorder(const std::string& file, bool json) {
    const auto image = DiagnosticImage::fromBytes(readInput(file));
    if (!image) throw CommandFailure(inputName(file) + ": no file of the flight recorder");
    Clock clock(image->epoch());
    std::string out;
    for (const Record& record : image->records()) {
        clock.advance(record);
        if (json)
            appendJSON(out, record, clock);
        else
            out += clock.text() + '\t' + nameOfRecord(record.kind) + '\t' + descriptionOfRecord(record) + '\n';
    }
    writeOutput("-", out);
}

}  // namespace varnolex
