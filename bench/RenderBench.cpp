#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "bench/Figures.hpp"
#include "bench/Music.hpp"
#include "core/midifile/StandardMIDIFile.hpp"
#include "core/text/EventText.hpp"
#include "platform/WholeFile.hpp"

namespace varnolex::bench {
namespace {

constexpr std::size_t largestFile = std::size_t{1} << 30;
constexpr std::size_t tenTools = 10;

/// A folder of the run, removed at its end.
class Folder {
public:
    Folder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "varnolex-bench-XXXXXX").string();
        if (!mkdtemp(pattern.data())) throw std::runtime_error("no folder for the files of the run");
        path = pattern;
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string file(const std::string& name) const { return (path / name).string(); }

private:
    std::filesystem::path path;
};

/// Runs a program to its end, without its output.
void runProgram(std::vector<std::string> words) {
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", 1, 0);
    pid_t child = 0;
    const int failure = posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    if (failure != 0 || waitpid(child, &status, 0) != child || status != 0)
        throw std::runtime_error(words[0] + " " + words[1] + " failed");
}

std::string playedText(std::size_t events) {
    std::string text;
    for (std::size_t index = 0; index < events; ++index)
        appendEventText(text, index * 1'000'000, playedMessage(index), "Input");
    return text;
}

std::string passThroughPatch() {
    std::string patch = "in";
    for (std::size_t index = 0; index < tenTools; ++index) patch += " -> chfilter";
    return patch + " -> out";
}

std::function<void()> rendering(const std::string& input, const std::string& output) {
    return [=] { runProgram({VARNOLEX_PROGRAM, "render", "--patch", passThroughPatch(), input, "-o", output}); };
}

}  // namespace

void measureRender(const Effort& effort, Figures& figures) {
    const Folder folder;
    const std::size_t quarter = effort.events / 4;
    const auto input = [&](const char* name) { return folder.file(name); };
    writeWholeFile(input("all.txt"), playedText(effort.events));
    writeWholeFile(input("quarter.txt"), playedText(quarter));
    writeWholeFile(input("all.mid"), StandardMIDIFile::write(playedFile(effort.events, 4)));
    const std::vector<double> medians =
        mediansOf(effort.passes / 4 + 1,
                  {
                      rendering(input("all.txt"), input("out.txt")),
                      rendering(input("quarter.txt"), input("out-quarter.txt")),
                      rendering(input("all.mid"), input("out.mid")),
                      [&] { writeWholeFile(input("copy.txt"), readWholeFile(input("all.txt"), largestFile)); },
                      [&] { writeWholeFile(input("copy.mid"), readWholeFile(input("all.mid"), largestFile)); },
                  });
    // A patch that lost messages would be quick.
    const std::string heard = readWholeFile(input("out.txt"), largestFile);
    if (static_cast<std::size_t>(std::count(heard.begin(), heard.end(), '\n')) != effort.events)
        throw std::runtime_error("the rendering doesn't hold as many messages as its input");
    const double budget = 0.5e-6 * static_cast<double>(effort.events);
    const std::string size = effort.events == 1'000'000 ? "1M" : std::to_string(effort.events / 1000) + "k";
    figures.push_back({"render: " + size + " events, 10 tools, text", medians[0], "s", "copying the file, s",
                       medians[3], Figure::Limit::value, budget, "a whole concert is rendered while you look up"});
    figures.push_back({"render: " + size + " events, 10 tools, MIDI file", medians[2], "s", "copying the file, s",
                       medians[4], Figure::Limit::value, budget, "the same from and to a MIDI file"});
    // Above 1 for what grows faster than the music; the margin is the noise of a shared machine.
    figures.push_back({"render: linear in the events", medians[0], "s", "4 x a quarter of them, s", 4 * medians[1],
                       Figure::Limit::ratio, 1.15, "twice the music takes twice as long and no more"});
}

void measureStart(const Effort& effort, Figures& figures) {
    const std::vector<double> medians = mediansOf(effort.passes, {
                                                                     [] {
                                                                         runProgram({VARNOLEX_PROGRAM, "--version"});
                                                                     },
                                                                     [] {
                                                                         runProgram({VARNOLEX_PROGRAM, "tools"});
                                                                     },
                                                                     [] {
                                                                         runProgram({"true", ""});
                                                                     },
                                                                 });
    const auto add = [&](const char* name, double seconds) {
        figures.push_back({name, seconds * 1e3, "ms", "an empty program, ms", medians[2] * 1e3, Figure::Limit::value,
                           50, "the command line answers before you have let go of the key"});
    };
    add("start: varnolex --version", medians[0]);
    add("start: varnolex tools", medians[1]);
}

}  // namespace varnolex::bench
