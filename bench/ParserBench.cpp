#include "bench/Figures.hpp"
#include "bench/Floors.hpp"
#include "bench/Music.hpp"
#include "bench/TestGraph.hpp"
#include "core/MessageParser.hpp"

namespace varnolex::bench {
namespace {

/// Messages in one run of bytes, and runs whose messages are held at once, as a tab holds what it shows.
constexpr std::size_t messagesInRun = 8;
constexpr std::size_t runsHeld = 128;

std::vector<std::uint8_t> playedRun() {
    std::vector<std::uint8_t> run;
    for (const ThreeBytes& message : playedMessages(messagesInRun))
        run.insert(run.end(), message.begin(), message.end());
    return run;
}

}  // namespace

void measureParser(const Effort& effort, Figures& figures) {
    const TestRuntime scope;
    const SecondThread secondThread;
    const auto run = playedRun();
    const std::size_t runs = effort.messages / messagesInRun;
    MessageParser parser;
    MessageList messages;
    const auto typed = [&] {
        for (std::size_t index = 0; index < runs; ++index) {
            parser.parse(run.data(), run.size(), index + 1, messages);
            if (index % runsHeld == 0) messages.clear();
        }
        keep(messages);
        messages.clear();
    };
    ByteMachine machine;
    std::vector<ByteMachine::Record> records;
    const auto bare = [&] {
        for (std::size_t index = 0; index < runs; ++index) {
            machine.parse(run, index + 1, records);
            keep(records);
            if (index % runsHeld == 0) records.clear();
        }
        records.clear();
    };
    const std::vector<double> medians = mediansOf(effort.passes, {typed, bare});
    const double scale = 1e9 / static_cast<double>(runs * messagesInRun);
    figures.push_back({"parser: bytes to typed, shared messages", medians[0] * scale, "ns/msg", "byte machine, ns/msg",
                       medians[1] * scale, Figure::Limit::ratio, 3.0,
                       "monitoring keeps up with every cable at full speed"});
}

}  // namespace varnolex::bench
