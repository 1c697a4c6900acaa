// USES core
#include "FuzzInput.hpp"
#include "core/text/EventText.hpp"

using namespace varnolex;

namespace {

std::string rewritten(std::string_view text) {
    EventTextReader reader(text, "fuzz");
    std::string out;
    std::uint64_t latest = 0;
    std::size_t latestLine = 0;
    for (EventLine line; reader.next(line);) {
        require(line.time >= latest, "times don't run backwards");
        require(!line.bytes.empty(), "a line has at least one byte");
        require(line.line > latestLine, "line numbers rise");
        latest = line.time;
        latestLine = line.line;
        appendEventText(out, line.time, line.bytes, line.endpoint.value_or(""));
        std::string json;
        appendEventJSON(json, line.time, line.bytes, line.endpoint.value_or(""));
        require(json.find('\n') == json.size() - 1, "an event is one line of JSON");
    }
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        const std::string once = rewritten(textOf(data, size));
        require(rewritten(once) == once, "what was written reads back the same");
    } catch (const EventTextError& error) {
        require(std::string_view(error.what()).starts_with("fuzz:"), "an error names its place");
    }
    return 0;
}
