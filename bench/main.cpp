#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string_view>

#include "bench/Figures.hpp"

using namespace varnolex::bench;

namespace {

void measureAll(const Effort& effort, std::string_view only, Figures& figures) {
    struct Group {
        std::string_view name;
        void (*measure)(const Effort&, Figures&);
    };
    constexpr Group groups[]{
        {"walk", measureWalks},          {"tools", measureTools},           {"script", measureScripts},
        {"parser", measureParser},       {"monitoring", measureMonitoring}, {"files", measureMIDIFiles},
        {"documents", measureDocuments}, {"render", measureRender},         {"start", measureStart},
        {"timers", measureTimers},       {"flood", measureFlood},           {"soak", measureSoak},
    };
    for (const Group& group : groups)
        if (only.empty() || only == group.name) group.measure(effort, figures);
}

}  // namespace

int main(int argc, char** argv) {
    Effort effort = Effort::full();
    std::string_view only;
    for (int index = 1; index < argc; ++index) {
        const std::string_view word = argv[index];
        if (word == "--quick") {
            effort = Effort::quick();
        } else if (word == "--long") {
            effort.isLong = true;
        } else if (word == "--walk" && index + 1 < argc) {
            walkForProfiler(std::strtoul(argv[index + 1], nullptr, 10), 10'000);
            return 0;
        } else if (word == "--only" && index + 1 < argc) {
            only = argv[++index];
        } else {
            std::fprintf(stderr,
                         "usage: varnolex-bench [--quick | --long] [--only "
                         "walk|tools|script|parser|monitoring|files|documents|render|start|timers|flood|soak]"
                         " | --walk NODES\n");
            return 2;
        }
    }
    try {
        Figures figures;
        measureAll(effort, only, figures);
        printTable(figures);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "varnolex-bench: %s\n", error.what());
        return 1;
    }
}
