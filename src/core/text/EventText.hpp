#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace varnolex {

/// Event text is the form in which timed MIDI bytes are read and written as text, one packet a line, the fields
/// parted by one tab: `SECONDS<TAB>BYTES[<TAB>ENDPOINT]`.

/// A line that can't be read. `what()` is "FILE:LINE: what was expected".
class EventTextError : public std::runtime_error {
public:
    EventTextError(std::string_view file, std::size_t lineNumber, std::string_view expectation);

    /// Counted from 1.
    std::size_t line() const { return number; }

private:
    std::size_t number;
};

/// One line of event text. The views hold until the reader's next step.
struct EventLine {
    /// Nanoseconds from the beginning.
    std::uint64_t time = 0;
    /// At least one byte.
    std::span<const std::uint8_t> bytes;
    /// Absent when the line names none, or an empty one.
    std::optional<std::string_view> endpoint;
    /// The line's number, from 1.
    std::size_t line = 0;
};

/// Reads event text line by line. One thread at a time.
class EventTextReader {
public:
    /// `text` must outlive the reader; `file` is the name that errors give.
    EventTextReader(std::string_view text, std::string file);

    /// Fills in the next event, past empty lines and comments. False at the end. Throws `EventTextError`; after
    /// one the reader is at its end.
    bool next(EventLine& event);

private:
    void read(std::string_view line, EventLine& event);
    std::uint64_t readTime(std::string_view field) const;
    void readBytes(std::string_view field);
    [[noreturn]] void refuse(std::string_view expectation) const;

    std::string_view rest;
    std::string fileName;
    std::size_t lineNumber = 0;
    std::uint64_t latestTime = 0;
    std::vector<std::uint8_t> packet;
};

/// Appends one line of event text, with its line end. A tab or line break inside the endpoint's name becomes a
/// blank, so that the line can be read again.
void appendEventText(std::string& out, std::uint64_t nanoseconds, std::span<const std::uint8_t> bytes,
                     std::string_view endpoint);

/// Appends the same event as one JSON object, with its line end.
void appendEventJSON(std::string& out, std::uint64_t nanoseconds, std::span<const std::uint8_t> bytes,
                     std::string_view endpoint);

}  // namespace varnolex
