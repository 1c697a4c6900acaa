#include <gmock/gmock.h>

#include "platform/RealRuntime.hpp"
#include "platform/Sanitizer.hpp"
#include "platform/Stopwatch.hpp"
#include "platform/keys/MemoryKeys.hpp"
#include "support/ChainProbe.hpp"
#include "tools/script/ObserverText.hpp"
#include "tools/script/ScriptTool.hpp"

namespace varnolex::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Texts = std::vector<std::string>;

#if defined(VARNOLEX_THREAD_SANITIZER)
constexpr bool hasWatchdog = false;
#else
constexpr bool hasWatchdog = true;
#endif

std::string nameOfLanguage(const ::testing::TestParamInfo<ScriptLanguage>& info) {
    return info.param == ScriptLanguage::lua ? "lua" : "javascript";
}

class ScriptProbe : public ChainProbe {
public:
    ScriptProbe(ScriptLanguage language, const std::string& source) : ChainProbe(PipeToolType::script) {
        set("language", static_cast<int>(language));
        set("scriptSource", source.c_str());
        runtime.settle();
    }

    ScriptTool& script() { return static_cast<ScriptTool&>(*tool); }
    std::string lastLine() {
        runtime.settle();
        return script().logLines().empty() ? "" : script().logLines().back();
    }
};

/// What leaves when one note, 90 3C 64, comes in, with one script in both languages.
struct Case {
    const char* meaning;
    const char* lua;
    const char* javascript;
    Texts left;
    const char* line = "";
};

class ScriptCalls : public ::testing::TestWithParam<ScriptLanguage> {
protected:
    const char* of(const Case& one) const { return GetParam() == ScriptLanguage::lua ? one.lua : one.javascript; }
};

const std::vector<Case> cases{
    {"no onMessage", "x = 1", "var x = 1", {"90 3C 64 |"}},
    {"lets pass", "function onMessage(m) end", "function onMessage(m) {}", {"90 3C 64 |"}},
    {"a constant function", "onMessage = function(m) block() end", "const onMessage = m => block()", {}},
    {"replaces",
     "function onMessage(m) block() send{m.status, m.data1 + 1, m.data2} end",
     "function onMessage(m) { block(); send([m.status, m.data1 + 1, m.data2]) }",
     {"90 3D 64 |"}},
    {"sends ahead, low bits only",
     "function onMessage(m) send{0xB0, 263, 3.9} send(m.bytes) end",
     "function onMessage(m) { send([0xB0, 263, 3.9]); send(m.bytes) }",
     {"B0 07 03 |", "90 3C 64 |", "90 3C 64 |"}},
    {"tells every field",
     "function onMessage(m) log(m.status..' '..m.type..' '..m.channel..' '..m.data1..' '..m.data2..' '..#m.bytes) end",
     "function onMessage(m) { log([m.status, m.type, m.channel, m.data1, m.data2, m.bytes.length].join(' ')) }",
     {"90 3C 64 |"},
     "144 144 0 60 100 3"},
    {"passes behind an error, blocked or not",
     "function onMessage(m)\n block()\n x.y = 1 end",
     "function onMessage(m) {\n block();\n x.y = 1 }",
     {},
     "3"},
    {"a fresh table each time",
     "function onMessage(m) store.first = store.first or m; m.data1 = 1; log(tostring(store.first == m)) end",
     "function onMessage(m) { store.first ||= m; m.data1 = 1; log(store.first === m) }",
     {"90 3C 64 |"},
     "true"},
    {"a missing text",
     "function onMessage(m) log(nil) end",
     "function onMessage(m) { log(null) }",
     {"90 3C 64 |"},
     "(nil)"},
    {"no bytes at all",
     "function onMessage(m) send{} send(7) send() end",
     "function onMessage(m) { send([]); send(7); send() }",
     {"90 3C 64 |"}},
    {"injects at the top once",
     "function onMessage(m) if m.data1 == 60 then inject{0x90, 61, 1} end end",
     "function onMessage(m) { if (m.data1 === 60) inject([0x90, 61, 1]) }",
     {"90 3D 01 |", "90 3C 64 |"}},
    {"common store",
     "globalSet('k', 'v') function onMessage(m) log(globalGet('k') .. tostring(globalGet('none'))) end",
     "globalSet('k', 'v'); function onMessage(m) { log(globalGet('k') + (globalGet('none') === null ? 'nil' : '?')) }",
     {"90 3C 64 |"},
     "vnil"},
};

TEST_P(ScriptCalls, doWhatTheScriptSays) {
    for (const Case& one : cases) {
        ScriptProbe probe(GetParam(), of(one));
        ASSERT_TRUE(probe.script().isInstalled()) << one.meaning << ": " << probe.script().installError();
        EXPECT_EQ(probe.answer({0x90, 60, 100}), one.left) << one.meaning;
        EXPECT_THAT(probe.lastLine(), HasSubstr(one.line)) << one.meaning;
    }
}

TEST_P(ScriptCalls, tellANoteOnWithoutVelocityAsANoteOff) {
    const char* source = GetParam() == ScriptLanguage::lua ? "function onMessage(m) log(m.type) end"
                                                           : "function onMessage(m) { log(m.type) }";
    ScriptProbe probe(GetParam(), source);
    EXPECT_THAT(probe.answer({0x93, 60, 0}), ElementsAre("83 3C 00 |"));
    EXPECT_EQ(probe.lastLine(), "128");
    std::vector<std::uint8_t> exclusive(70'000, 1);
    exclusive.front() = 0xF0;
    probe.send(exclusive);
    EXPECT_EQ(probe.exited.back().bytes, exclusive);
}

TEST_P(ScriptCalls, sendLaterUnlessFlushedOrSwitchedOff) {
    const char* source =
        GetParam() == ScriptLanguage::lua
            ? "function onMessage(m) if m.data1 == 0 then flush() else delay(100, {0x80, m.data1, 0}) end end"
            : "function onMessage(m) { m.data1 ? delay(100, [0x80, m.data1, 0]) : flush() }";
    ScriptProbe probe(GetParam(), source);
    probe.answer({0x90, 60, 100});
    probe.runtime.runFor(99ms);
    EXPECT_THAT(probe.taken(), ElementsAre());
    probe.runtime.runFor(1ms);
    EXPECT_THAT(probe.taken(), ElementsAre("80 3C 00 |"));
    probe.answer({0x90, 60, 100});
    probe.answer({0x90, 0, 100});
    probe.runtime.runFor(1s);
    EXPECT_THAT(probe.taken(), ElementsAre());
    probe.answer({0x90, 60, 100});
    probe.tool->setEnabled(false);
    probe.runtime.runFor(1s);
    EXPECT_THAT(probe.taken(), ElementsAre());
    probe.tool->setEnabled(true);
    probe.answer({0x90, 60, 100});
    probe.script().install();
    EXPECT_EQ(probe.runtime.pendingItems(), 0u);
}

TEST_P(ScriptCalls, goRoundWithoutEndButNotAlone) {
    const char* source = GetParam() == ScriptLanguage::lua ? "function onMessage(m) inject(m.bytes) block() end"
                                                           : "function onMessage(m) { inject(m.bytes); block() }";
    ScriptProbe probe(GetParam(), source);
    probe.answer({0x90, 60, 100});
    probe.runtime.runFor(1ms);
    EXPECT_EQ(probe.runtime.pendingItems(), 1u);
    probe.tool->setEnabled(false);
    probe.runtime.runFor(1ms);
    EXPECT_EQ(probe.runtime.pendingItems(), 0u);
}

TEST_P(ScriptCalls, areNotMadeByWhoeverOnlyReadsADocument) {
    VirtualRuntime runtime;
    const RuntimeScope scope(runtime);
    const auto tool = makeTool(PipeToolType::script);
    const auto& script = static_cast<const ScriptTool&>(*tool);
    setParameter(*tool, "language", static_cast<std::int64_t>(GetParam()));
    setParameter(*tool, "scriptSource", std::string("x = 1"));
    tool->recordWasApplied();
    EXPECT_FALSE(script.isInstalled());
    const auto chain = ToolChain::make({tool}, "graph");
    tool->start(0);
    EXPECT_TRUE(script.isInstalled());
}

TEST_P(ScriptCalls, keepFiftyLinesAndWhatTheScriptCallsItself) {
    const char* source = GetParam() == ScriptLanguage::lua
                             ? "function onLoad() for i = 1, 51 do log(i) end setLabel('L') setName('N') end"
                             : "function onLoad() { for (let i = 1; i < 52; ++i) log(i); setLabel('L'); setName('N') }";
    ScriptProbe probe(GetParam(), source);
    EXPECT_EQ(probe.script().logLines().size(), 50u);
    EXPECT_EQ(probe.script().logLines().front(), "2");
    EXPECT_EQ(probe.script().label(), "L");
    EXPECT_EQ(probe.tool->name(), "N");
}

TEST_P(ScriptCalls, tellTheVirtualTimeAndDrawTheSameAgain) {
    const char* source = GetParam() == ScriptLanguage::lua
                             ? "function onMessage(m) log(clock() .. ' ' .. os.time() .. ' ' .. math.random()) end"
                             : "function onMessage(m) { log(clock() + ' ' + Date.now() + ' ' + Math.random()) }";
    const auto run = [&] {
        ScriptProbe probe(GetParam(), source);
        probe.runtime.runFor(1500ms);
        probe.answer({0x90, 60, 100});
        return probe.lastLine();
    };
    EXPECT_THAT(run(), ::testing::StartsWith(GetParam() == ScriptLanguage::lua ? "2.5 1 0." : "2.5 1500 0."));
    EXPECT_EQ(run(), run());
}

TEST_P(ScriptCalls, passEverythingWhenAScriptIsFaulty) {
    for (const char* source : {"function onMessage(m", "\n error('x'); throw new Error('x')", "null.x()"}) {
        ScriptProbe probe(GetParam(), source);
        EXPECT_FALSE(probe.script().isInstalled());
        EXPECT_THAT(probe.script().installError(), ::testing::ContainsRegex("[:line ]+[1-2]")) << source;
        EXPECT_THAT(probe.answer({0x90, 60, 0}), ElementsAre("90 3C 00 |"));
    }
}

TEST(ScriptTool, tellsTheColumnOfAnErrorInLua) {
    const std::array<std::pair<const char*, const char*>, 12> texts{{
        {"x = = 1", "script:1: unexpected symbol near '='"},
        {"\nlocal \xC3\xBC", "script:2: <name> expected near '<\\195>'"},
        {"y = 1\nx = ) + 1", "script:2: unexpected symbol near ')' (column 5)"},
        {"if a the ther then end", "script:1: 'then' expected near 'the' (column 6)"},
        {"s = 'a' 'b' c", "script:1: unexpected symbol near ''b'' (column 9)"},
        {"s = '\xC3\xBC' d e", "script:1: syntax error near 'e' (column 11)"},
        {"function onMessage(m", "script:1: ')' expected near <eof> (column 21)"},
        {"local t = 1 error('x')", "script:1: x (column 13)"},
        {"x = 1 + nope", "script:1: attempt to perform arithmetic on a nil value (global 'nope') (column 9)"},
        {"a = {}\n\tb = a.b.c", "script:2: attempt to index a nil value (field 'b') (column 2)"},
        {"local t = setmetatable({}, 1)",
         "script:1: bad argument #2 to 'setmetatable' (nil or table expected, got number) (column 11)"},
        {"error('anywhere', 0)", "anywhere"},
    }};
    for (const auto& [source, told] : texts)
        EXPECT_EQ(ScriptProbe(ScriptLanguage::lua, source).script().installError(), told) << source;
    ScriptProbe probe(ScriptLanguage::lua, "function onMessage(m)\n  sent(m)\nend");
    probe.answer({0x90, 60, 100});
    EXPECT_EQ(probe.lastLine(), "script:2: attempt to call a nil value (global 'sent') (column 3)");
}

TEST(ScriptTool, goesThroughALuaTableInTheSameOrderInEveryRun) {
    ScriptProbe probe(ScriptLanguage::lua, R"(
        local t = {[2.5] = 1, [-1] = 1, [true] = 1, [false] = 1, 'one', 'two'}
        for letter in ('thequickbrownfox'):gmatch('.') do t[letter] = 1 end
        local like = setmetatable({}, {__pairs = function() return next, {mine = 1} end})
        function onMessage(m)
            local seen = {}
            for key, value in pairs(t) do
                seen[#seen + 1] = tostring(key)
                t.q, t.r = nil, nil
                if key == 'x' then t[key] = 2 end
            end
            for key in pairs(like) do seen[#seen + 1] = key end
            log(table.concat(seen, ' '))
            log(select(2, pcall(function() for key in pairs(nil) do end end)))
        end)");
    probe.answer({0x90, 60, 100});
    EXPECT_THAT(probe.lastLine(), HasSubstr("bad argument #1"));
    EXPECT_EQ(probe.script().logLines().front(), "-1 1 2 2.5 b c e f h i k n o t u w x false true mine");
}

TEST(ScriptTool, keepsTheMemoryOfLuaBoundedHoweverManyMessagesCome) {
    struct Row {
        const char* meaning;
        const char* kept;
        const char* dropped;
        int messages;
        double mostKilobytes;
    };
    for (const Row& row : {Row{"a small script", "m", "{m.bytes}", 20'000, 1'000},
                           Row{"a large one far from the limit", "('x'):rep(1024):rep(40 << 10)",
                               "store.kept:sub(1, 1 << 17)", 3'000, 160'000}}) {
        ScriptProbe probe(ScriptLanguage::lua,
                          std::string("local most = 0 function onMessage(m) store.kept = store.kept or ") + row.kept +
                              " local dropped = " + row.dropped + " most = math.max(most, collectgarbage('count')) " +
                              "if m.data1 == 1 then log(most) end block() end");
        for (int count = 0; count < row.messages; ++count) probe.send({0x90, 60, 100});
        probe.send({0x90, 1, 100});
        EXPECT_LT(std::stod(probe.lastLine()), row.mostKilobytes) << row.meaning;
    }
}

INSTANTIATE_TEST_SUITE_P(Languages, ScriptCalls, ::testing::Values(ScriptLanguage::lua, ScriptLanguage::javascript),
                         nameOfLanguage);

TEST(ScriptTool, boundsWhatLuaTakes) {
    ScriptProbe probe(ScriptLanguage::lua,
                      "function onMessage(m) local t = {} for i = 1, 300 do t[i] = 1 end send(t) "
                      "print(pcall(string.rep, 'x', 1 << 30)) os.exit(1) end");
    EXPECT_THAT(probe.answer({0x90, 60, 100}), ElementsAre("90 3C 64 |"));
    EXPECT_THAT(probe.lastLine(), HasSubstr("can't end the program"));
    EXPECT_THAT(probe.script().logLines().front(), HasSubstr("not enough memory"));
}

TEST(ScriptTool, passesMessagesWithoutWaitingForAnObserverAndTellsOnceThatItCanNotRun) {
    EXPECT_EQ(observerText("beep", std::vector<std::uint8_t>{0x93, 60}),
              "set midiStatus to 147\nset midiData1 to 60\nset midiData2 to 0\nset midiChannel to 3\nbeep");
    ScriptProbe probe(ScriptLanguage::applescript, "beep");
    EXPECT_TRUE(probe.script().isInstalled());
    for (int count = 0; count < 3; ++count) EXPECT_THAT(probe.answer({0x90, 60, 0}), ElementsAre("80 3C 00 |"));
    EXPECT_THAT(probe.lastLine(), ::testing::StartsWith("[AS error] "));
    EXPECT_EQ(probe.script().logLines().size(), 1u);
}

TEST(ScriptTool, playsKeysOfTheComputer) {
    MemoryKeys keys;
    const KeyServiceScope scope(keys);
    ScriptProbe probe(ScriptLanguage::lua, "function onMessage(m) sendKey(9, 1) sendKey(70000, 0) end");
    probe.answer({0x90, 60, 100});
    probe.runtime.settle();
    EXPECT_THAT(keys.posted, ElementsAre(KeyEvent{9, true, keyFlagShift}, KeyEvent{9, false, keyFlagShift}));
}

/// Live: the script has a thread of its own.
class LiveScript : public ::testing::TestWithParam<ScriptLanguage> {
protected:
    LiveScript() {
        tool = std::make_shared<ScriptTool>();
        chain = ToolChain::make({tool}, "live");
        chain->setMessageDidExit(std::make_unique<RecordingExit>(exited));
    }
    ~LiveScript() override { tool->stop(); }

    void SetUp() override {
        if (!hasWatchdog && !isLua()) GTEST_SKIP() << "the engine's watchdog hangs under this sanitizer";
    }

    bool isLua() const { return GetParam() == ScriptLanguage::lua; }

    void install(const std::string& source) {
        const std::vector<ParameterAssignment> both{{"language", static_cast<std::int64_t>(GetParam())},
                                                    {"scriptSource", source}};
        setParameters(*tool, both);
        pollUntil([&] { return tool->isInstalled() || !tool->installError().empty(); });
    }

    template <class Condition>
    void pollUntil(Condition&& condition) {
        const Stopwatch watch;
        while (!condition() && watch.elapsed() < 20s) {
            runtime.mainQueue().after(2ms, [this] { runtime.stopMain(); });
            runtime.runMain();
        }
    }

    void send(std::uint8_t note) {
        const std::array<std::uint8_t, 3> bytes{0x90, note, 100};
        chain->send({bytes.data(), bytes.size(), 1, true});
    }

    /// Sends a note on the runtime's own thread; it is over when `hasPassed`.
    void sendBeside(std::uint8_t note) {
        hasPassed.set(false);
        other->async([this, note] {
            send(note);
            hasPassed.set(true);
        });
    }

    /// Runs what ends the script, and waits until the walk has gone on. Its time.
    template <class End>
    Nanoseconds timeToEnd(End&& end) {
        const Stopwatch watch;
        end();
        pollUntil([this] { return hasPassed.get(); });
        return watch.elapsed();
    }

    RealRuntime runtime;
    RuntimeScope scope{runtime};
    std::vector<Exited> exited;
    std::shared_ptr<ScriptTool> tool;
    std::shared_ptr<ToolChain> chain;
    Guarded<bool> hasPassed{false};
    std::shared_ptr<Queue> other = runtime.makeQueue("test", QueuePriority::normal);
};

/// A tenth of a second, and what a machine that does ten other things may add.
constexpr Nanoseconds soon = 2s;

TEST_P(LiveScript, answersOnTheThreadThatAsks) {
    install(isLua() ? "function onMessage(m) for i = 1, 2000 do send{0x90, i & 127, 1} end block() end"
                    : "function onMessage(m) { for (let i = 1; i <= 2000; ++i) send([0x90, i & 127, 1]); block() }");
    send(60);
    ASSERT_EQ(exited.size(), 2000u);
    EXPECT_EQ(textOf(exited.back()), "90 50 01 |");
}

TEST_P(LiveScript, isEndedByWhateverTheUserDoes) {
    const std::string endless =
        isLua() ? "function onMessage(m) if m.data1 == 1 then return end "
                  "while true do pcall(function() while true do end end) end end"
                : "function onMessage(m) { if (m.data1 === 1) return; for (;;) try { for (;;); } catch (e) {} }";
    install(endless);
    ASSERT_TRUE(tool->isInstalled()) << tool->installError();
    const auto runs = [&] {
        exited.clear();
        sendBeside(60);
        pollUntil([n = 0]() mutable { return ++n > 25; });
    };
    runs();
    EXPECT_LT(timeToEnd([&] { tool->setEnabled(false); }), soon);
    EXPECT_EQ(exited.size(), 1u) << "the chain goes on";
    pollUntil([&] { return !tool->logLines().empty(); });
    // On a machine that does ten other things it may also come too late, and be left behind.
    EXPECT_THAT(tool->logLines().back(), HasSubstr("stop"));
    tool->setEnabled(true);
    pollUntil([&] { return tool->isInstalled(); });
    send(1);
    EXPECT_EQ(exited.size(), 2u) << "it runs again";
    runs();
    EXPECT_LT(timeToEnd([&] { tool->install(); }), soon);
    pollUntil([&] { return tool->isInstalled(); });
    runs();
    // Whoever edits something else of the graph waits for the walk.
    EXPECT_LT(timeToEnd([&] { chain->enter([] {}); }), soon);
    runs();
    EXPECT_LT(timeToEnd([&] { tool->stop(); }), soon);
}

TEST_P(LiveScript, isLeftBehindWhenTheEngineItselfDoesNotComeBack) {
    // Some seconds each, so that the test itself comes to an end.
    install(isLua() ? "function onMessage(m) log('begun') string.find(string.rep('a', 280), '.-.-.-b') end"
                    : "function onMessage(m) { log('begun'); /.*.*.*b/.test('x'.repeat(340)) }");
    ASSERT_TRUE(tool->isInstalled()) << tool->installError();
    sendBeside(60);
    pollUntil([&] { return !tool->logLines().empty(); });
    pollUntil([n = 0]() mutable { return ++n > 5; });
    if (hasPassed.get()) GTEST_SKIP() << "the machine was too busy to look while the engine ran";
    EXPECT_LT(timeToEnd([&] { tool->setEnabled(false); }), soon);
    EXPECT_EQ(exited.size(), 1u);
    pollUntil([&] { return tool->logLines().size() > 1; });
    EXPECT_THAT(tool->logLines().back(), HasSubstr("left behind"));
    EXPECT_FALSE(tool->isInstalled());
    send(60);
    EXPECT_EQ(exited.size(), 2u);
    pollUntil([] { return !ScriptThread::isAnyLeftBehind(); });
    tool->setEnabled(true);
    pollUntil([&] { return tool->isInstalled(); });
    EXPECT_TRUE(tool->isInstalled());
}

TEST_P(LiveScript, mayTakeItsTimeToLoad) {
    install(isLua() ? "local e = clock() + 0.2 while clock() < e do end function onMessage(m) block() end"
                    : "for (const e = clock() + 0.2; clock() < e;); function onMessage(m) { block() }");
    ASSERT_TRUE(tool->isInstalled()) << tool->installError();
    send(60);
    EXPECT_TRUE(exited.empty());
}

INSTANTIATE_TEST_SUITE_P(Languages, LiveScript, ::testing::Values(ScriptLanguage::lua, ScriptLanguage::javascript),
                         nameOfLanguage);

}  // namespace
}  // namespace varnolex::testing
