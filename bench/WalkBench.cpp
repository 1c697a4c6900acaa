#include "bench/Figures.hpp"
#include "bench/Floors.hpp"
#include "bench/Music.hpp"
#include "bench/TestGraph.hpp"

namespace varnolex::bench {
namespace {

constexpr std::size_t branches = 10;
constexpr std::size_t longSeries = 20;
constexpr std::size_t shortSeries = 10;

std::function<void()> walking(TestGraph& graph, std::size_t messages) {
    return [&graph, messages] { varnolexBenchWalk(graph.entry(), messages); };
}

double nanoseconds(double seconds, std::size_t count) { return seconds * 1e9 / static_cast<double>(count); }

}  // namespace

void measureWalks(const Effort& effort, Figures& figures) {
    const TestRuntime scope;
    const SecondThread secondThread;
    TestGraph one(1);
    TestGraph few(shortSeries);
    TestGraph many(longSeries);
    TestGraph narrow = TestGraph::fanOut(branches);
    TestGraph wide = TestGraph::fanOut(2 * branches);
    const std::size_t count = effort.messages;
    const auto pairs = [count] { lockPairs(count); };

    const Medians series = differenceOf(effort.passes, walking(few, count), walking(many, count), pairs);
    figures.push_back({"walk: one more pass-through node in series",
                       nanoseconds(series.subject, count * (longSeries - shortSeries)), "ns",
                       "recursive_mutex pair, ns", nanoseconds(series.floor, count), Figure::Limit::ratio, 0.7,
                       "a long patch answers as fast as a short one"});

    const std::vector<double> alone = mediansOf(effort.passes, {walking(one, count), pairs});
    figures.push_back({"walk: one node alone", nanoseconds(alone[0], count), "ns", "recursive_mutex pair, ns",
                       nanoseconds(alone[1], count), Figure::Limit::ratio, 2.2,
                       "a message enters a patch in no time that anybody could feel"});

    const Medians fan = differenceOf(effort.passes, walking(narrow, count), walking(wide, count), pairs);
    figures.push_back({"walk: one more branch of a fan-out", nanoseconds(fan.subject, count * branches), "ns",
                       "recursive_mutex pair, ns", nanoseconds(fan.floor, count), Figure::Limit::ratio, 1.0,
                       "a layer more doesn't smear a chord"});
}

void walkForProfiler(std::size_t nodes, std::size_t messages) {
    const TestRuntime scope;
    TestGraph graph(nodes);
    varnolexBenchWalk(graph.entry(), messages);
}

}  // namespace varnolex::bench
