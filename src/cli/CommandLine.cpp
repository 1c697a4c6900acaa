#include "cli/CommandLine.hpp"

#include <charconv>
#include <functional>
#include <sstream>

#include <CLI/CLI.hpp>

#include "cli/CommandFailure.hpp"
#include "cli/CompileCommand.hpp"
#include "cli/ConvertCommand.hpp"
#include "cli/DumpCommand.hpp"
#include "cli/LoopCommand.hpp"
#include "cli/RenderCommand.hpp"
#include "cli/Streams.hpp"
#include "cli/ToolsCommand.hpp"
#include "cli/Version.hpp"
#include "cli/WindowStart.hpp"
#include "cli/live/ListCommand.hpp"
#include "cli/live/MonitorCommand.hpp"
#include "cli/live/RecordCommand.hpp"
#include "cli/live/RunCommand.hpp"
#include "cli/live/SendCommand.hpp"
#include "platform/RandomSeed.hpp"

namespace varnolex {
namespace {

using Command = std::function<void()>;

/// The whole text as a number; nothing for any other text.
std::optional<double> numberIn(std::string_view text) {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

/// `--clock` may be followed by its tempo or by a file: only a number belongs to it.
std::vector<std::string> withTemposAttached(int argc, const char* const* argv) {
    std::vector<std::string> words;
    for (int index = 1; index < argc; ++index) {
        const std::string word = argv[index];
        if (word != "--clock") {
            words.push_back(word);
            continue;
        }
        const bool hasTempo = index + 1 < argc && numberIn(argv[index + 1]);
        words.push_back("--clock=" + std::string(hasTempo ? argv[++index] : "120"));
    }
    return words;
}

/// Refuses what is no length of time that anybody may wait for, what isn't a number included.
CLI::Validator secondsCheck() {
    constexpr double longest = 1e8;
    const auto check = [](const std::string& text) -> std::string {
        const auto seconds = numberIn(text);
        return seconds && *seconds >= 0 && *seconds <= longest ? "" : "takes 0 to 1e8 seconds, not \"" + text + "\"";
    };
    return CLI::Validator(check, "");
}

/// What the words of a call are read into, and what they ask for.
class Call {
public:
    Call() : app("MIDI workbench: monitors, routes and processes MIDI through graphs of small tools.", "varnolex") {
        app.set_version_flag("--version", std::string("varnolex ") + programVersion());
        app.add_option("--document", document, "Open this document")->type_name("FILE");
        app.footer("Without a command the window opens. `varnolex COMMAND --help` tells about a command.");
        addRender();
        addCompile();
        addTools();
        addDump();
        addConvert();
        addLoop();
        addList();
        addMonitor();
        addSend();
        addRecord();
        addRun();
    }

    void parse(std::vector<std::string> words) {
        std::ranges::reverse(words);
        app.parse(words);
    }

    /// Prints help or a fault of the call, and returns the exit status.
    int report(const CLI::ParseError& error) const {
        if (error.get_exit_code() == 0) {
            std::ostringstream text;
            app.exit(error, text, text);
            writeOutput("-", text.str());
            return 0;
        }
        std::cerr << "varnolex: " << error.what() << "\n" << hint() << "\n";
        return 2;
    }

    std::string hint() const {
        std::string command = "varnolex";
        for (auto used = app.get_subcommands(); !used.empty(); used = used.front()->get_subcommands())
            command += " " + used.front()->get_name();
        return "Try `" + command + " --help`.";
    }

    void run() {
        if (chosen) return chosen();
        startWindow(document.empty() ? std::nullopt : std::optional(document));
    }

private:
    CLI::App* add(const char* name, const char* description, Command command) {
        CLI::App* sub = app.add_subcommand(name, description);
        sub->fallthrough(false);
        sub->callback([this, command = std::move(command)] { chosen = command; });
        return sub;
    }

    void addRender() {
        CLI::App* sub =
            add("render", "Run a studio graph over recorded input in virtual time", [this] { callRender(); });
        sub->add_option("PATCH", renderFiles[0],
                        "A document (.varnolex), a patch (.vxpatch) or a text in the patch language; left out with "
                        "--patch");
        sub->add_option("INPUT", renderFiles[1],
                        "A MIDI file (.mid, .midi, .smf), a SysEx file (.syx) or event text; - by default");
        sub->add_option("--patch", renderPatch, "The patch language text itself")->type_name("TEXT");
        sub->add_option("--studio", renderStudio, "Which studio of a document; the current one by default")
            ->type_name("NAME");
        sub->add_option("-o,--output", render.output, "A MIDI file (.mid) or event text; - by default")
            ->type_name("OUTPUT");
        sub->add_flag("--json", render.json, "Write JSON lines in place of event text");
        sub->add_flag("--start", render.pressStart, "Press Start on every clock and generator at time 0");
        sub->add_option("--clock", renderClock, "Feed MIDI Start and a MIDI clock, 120 BPM where not told otherwise")
            ->type_name("[BPM]");
        sub->add_option("--seed", renderSeed, "Seed of every random draw: a number, or random (1)")->type_name("N");
        sub->add_option("--tail", render.tailSeconds, "How long time goes on after the last input (2)")
            ->type_name("SECONDS")
            ->check(secondsCheck());
        sub->add_flag("--stats", render.stats, "Tell how many messages passed and how long it took");
    }

    void callRender() {
        render.patch.text = renderPatch;
        render.patch.studio = renderStudio;
        std::vector<std::string> files;
        if (!render.patch.text && !document.empty()) files.push_back(document);
        for (const auto& file : renderFiles)
            if (file) files.push_back(*file);
        if (!render.patch.text) {
            if (files.empty()) throw UsageError("render needs a PATCH, or --patch TEXT");
            render.patch.file = files.front();
            files.erase(files.begin());
        }
        if (files.size() > 1) throw UsageError("render takes one INPUT, and \"" + files[1] + "\" is one too many");
        if (!files.empty()) render.input = files.front();
        if (!render.patch.text && render.patch.file == "-" && render.input == "-")
            throw UsageError("PATCH and INPUT can't both be standard input");
        render.clockBPM = clockTempo();
        render.seed = seed();
        runRender(render);
    }

    std::optional<double> clockTempo() const {
        if (!renderClock) return std::nullopt;
        const auto tempo = numberIn(*renderClock);
        if (!tempo || !(*tempo >= 1 && *tempo <= 1000))
            throw UsageError("--clock takes 1 to 1000 beats a minute, not \"" + *renderClock + "\"");
        return tempo;
    }

    std::uint64_t seed() const {
        if (renderSeed == "random") return randomSeed();
        std::uint64_t value = 0;
        const char* last = renderSeed.data() + renderSeed.size();
        const auto [end, error] = std::from_chars(renderSeed.data(), last, value);
        if (error != std::errc() || end != last)
            throw UsageError("--seed takes a whole number or \"random\", not \"" + renderSeed + "\"");
        return value;
    }

    void addCompile() {
        CLI::App* sub = add("compile", "Compile patch language text", [this] {
            compile.text = compilePatch;
            if (compile.text && compileFile) throw UsageError("compile takes a FILE or --patch, not both");
            if (compileFile) compile.file = *compileFile;
            runCompile(compile);
        });
        sub->add_option("FILE", compileFile, "The text; - by default");
        sub->add_option("--patch", compilePatch, "The text itself")->type_name("TEXT");
        sub->add_option("-o,--output", compile.output, "Write a patch file (.vxpatch) in place of JSON")
            ->type_name("FILE.vxpatch");
    }

    void addTools() {
        CLI::App* sub = add("tools", "List the tool kinds, or tell everything about one",
                            [this] { runTools(toolKindName, toolsJSON); });
        sub->add_option("KIND", toolKindName, "A kind, by its raw value, case or display name");
        sub->add_flag("--json", toolsJSON, "Write a JSON array");
    }

    void addDump() {
        CLI::App* sub = add("dump", "Print the typed messages of recorded input",
                            [this] { runDump(dumpInput, dumpJSON, dumpAssemble); });
        sub->add_option(
            "INPUT", dumpInput,
            "A MIDI file (.mid), a SysEx file (.syx), a file of the flight recorder (.vxld) or event text; - "
            "by default");
        sub->add_flag("--json", dumpJSON, "Write one JSON object a line");
        sub->add_flag("--assemble", dumpAssemble, "Fold NRPN and RPN sequences into single messages");
    }

    void addConvert() {
        CLI::App* sub = add("convert", "Write a document or patch of any age in the current form",
                            [this] { runConvert(convertIn, convertOut); });
        sub->add_option("IN", convertIn, "The document or patch to read")->required();
        sub->add_option("OUT", convertOut, "Where to write it")->required();
    }

    void addLoop() {
        CLI::App* loop = app.add_subcommand("loop", "Take a looper's loop out of a document, or put one in");
        loop->require_subcommand(1);
        CLI::App* exports = loop->add_subcommand("export", "Write a looper's loop as a MIDI file");
        exports->callback([this] { chosen = [this] { runLoopExport(loopChoice, loopOutput.value_or("-")); }; });
        addLoopChoice(exports);
        exports->add_option("-o,--output", loopOutput, "The MIDI file to write; - by default")->type_name("FILE");
        CLI::App* imports = loop->add_subcommand("import", "Put a MIDI file into a looper of a document");
        imports->callback([this] { chosen = [this] { runLoopImport(loopChoice, loopFile, loopOutput); }; });
        addLoopChoice(imports);
        imports->add_option("FILE", loopFile, "The MIDI file: all its tracks, to the nearest bar")->required();
        imports->add_option("-o,--output", loopOutput, "Where to write the document; in its own place by default")
            ->type_name("OUT");
    }

    void addLoopChoice(CLI::App* sub) {
        sub->add_option("DOCUMENT", loopChoice.document, "The document or patch with the looper")->required();
        sub->add_option("--node", loopChoice.node, "The looper's name; needed where there are several")
            ->type_name("NAME");
        sub->add_option("--studio", loopChoice.studio, "Look in this studio only")->type_name("NAME");
    }

    /// Live commands choose a service, and those that go on by themselves may be given an end.
    static void addService(CLI::App* sub, MIDIServiceKind& service) {
        static const std::map<std::string, MIDIServiceKind, std::less<>> kinds{{"auto", MIDIServiceKind::automatic},
                                                                               {"jack", MIDIServiceKind::jack},
                                                                               {"alsa", MIDIServiceKind::alsa},
                                                                               {"memory", MIDIServiceKind::memory}};
        const auto choose = [&service](const std::string& name) {
            const auto found = kinds.find(name);
            if (found == kinds.end())
                throw CLI::ValidationError("--midi", "takes auto, jack, alsa or memory, not \"" + name + "\"");
            service = found->second;
        };
        sub->add_option_function<std::string>("--midi", choose, "The MIDI service: auto, jack, alsa or memory (auto)")
            ->type_name("SERVICE");
    }

    static void addDuration(CLI::App* sub, std::optional<double>& seconds) {
        sub->add_option("--for", seconds, "End after this time; when interrupted, otherwise")
            ->type_name("SECONDS")
            ->check(secondsCheck());
    }

    void addList() {
        CLI::App* sub = add("list", "List the MIDI endpoints of the system with their unique IDs",
                            [this] { runList(listService, listJSON); });
        sub->add_flag("--json", listJSON, "Write a JSON array");
        addService(sub, listService);
    }

    void addMonitor() {
        CLI::App* sub = add("monitor", "Print live messages as they come", [this] { runMonitor(monitor); });
        sub->add_option("ENDPOINT", monitor.endpoints,
                        "Names or unique IDs of sources or destinations; all by default");
        sub->add_option("--kind", monitor.kinds, "Only messages of this kind, such as noteOn; may be repeated")
            ->type_name("KIND")
            ->expected(1);
        sub->add_option("--channel", monitor.channels, "Only voice messages of this channel, 1 to 16; may be repeated")
            ->type_name("N")
            ->expected(1)
            ->check(CLI::Range(1, 16));
        sub->add_flag("--json", monitor.json, "Write one JSON object a line");
        sub->add_flag("--rates", monitor.rates, "Tell the rate of each endpoint once a second, on standard error");
        addDuration(sub, monitor.seconds);
        addService(sub, monitor.service);
    }

    void addSend() {
        CLI::App* sub = add("send", "Play a recording to a destination, paced by its times", [this] { runSend(send); });
        sub->add_option("ENDPOINT", send.endpoint, "The destination's name or unique ID")->required();
        sub->add_option("FILE", send.input, "A MIDI file (.mid), a SysEx file (.syx) or event text; - by default");
        addService(sub, send.service);
    }

    void addRecord() {
        CLI::App* sub = add("record", "Record what sources play", [this] { runRecord(record); });
        sub->add_option("ENDPOINT", record.endpoints, "Names or unique IDs of sources; all by default");
        sub->add_option("-o,--output", record.output, "A MIDI file (.mid) or event text; - by default")
            ->type_name("FILE");
        sub->add_flag("--json", record.json, "Write JSON lines in place of event text");
        addDuration(sub, record.seconds);
        addService(sub, record.service);
    }

    void addRun() {
        CLI::App* sub = add("run", "Run a studio graph live", [this] { callRun(); });
        sub->add_option("PATCH", runFile,
                        "A document (.varnolex), a patch (.vxpatch) or a text in the patch language; left out with "
                        "--patch");
        sub->add_option("--patch", liveRun.patch.text, "The patch language text itself")->type_name("TEXT");
        sub->add_option("--studio", liveRun.patch.studio, "Which studio of a document; the current one by default")
            ->type_name("NAME");
        sub->add_option("--in", liveRun.input, "The source for inputs that have none of their own")->type_name("NAME");
        sub->add_option("--out", liveRun.output, "The destination for outputs that have none of their own")
            ->type_name("NAME");
        sub->add_flag("--start", liveRun.pressStart, "Press Start on every clock and generator");
        addDuration(sub, liveRun.seconds);
        addService(sub, liveRun.service);
    }

    void callRun() {
        if (!runFile && !document.empty()) runFile = document;
        if (runFile && liveRun.patch.text) throw UsageError("run takes a PATCH or --patch, not both");
        if (!runFile && !liveRun.patch.text) throw UsageError("run needs a PATCH, or --patch TEXT");
        if (runFile) liveRun.patch.file = *runFile;
        runRun(liveRun);
    }

    CLI::App app;
    Command chosen;
    std::string document;

    RenderOptions render;
    std::array<std::optional<std::string>, 2> renderFiles;
    std::optional<std::string> renderPatch;
    std::optional<std::string> renderStudio;
    std::optional<std::string> renderClock;
    std::string renderSeed = "1";

    CompileOptions compile;
    std::optional<std::string> compileFile;
    std::optional<std::string> compilePatch;

    std::string toolKindName;
    bool toolsJSON = false;

    std::string dumpInput = "-";
    bool dumpJSON = false;
    bool dumpAssemble = false;

    std::string convertIn;
    std::string convertOut;

    LoopChoice loopChoice;
    std::string loopFile;
    std::optional<std::string> loopOutput;

    MIDIServiceKind listService = MIDIServiceKind::automatic;
    bool listJSON = false;
    MonitorOptions monitor;
    SendOptions send;
    RecordOptions record;
    RunOptions liveRun;
    std::optional<std::string> runFile;
};

}  // namespace

int runCommandLine(int argc, const char* const* argv) {
    Call call;
    try {
        try {
            call.parse(withTemposAttached(argc, argv));
        } catch (const CLI::ParseError& error) {
            return call.report(error);
        }
        call.run();
        return 0;
    } catch (const UsageError& error) {
        tellUser(error.what());
        std::cerr << call.hint() << "\n";
        return 2;
    } catch (const std::exception& error) {
        tellUser(error.what());
        return 1;
    }
}

}  // namespace varnolex
