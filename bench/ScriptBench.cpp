#include <JavaScriptCore/JavaScript.h>

#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <thread>

#include <lua.hpp>

#include "bench/Figures.hpp"
#include "bench/TestGraph.hpp"
#include "platform/RealRuntime.hpp"
#include "platform/ServiceThread.hpp"
#include "tools/script/ScriptTool.hpp"

namespace varnolex::bench {
namespace {

class CountingSink final : public ChainExit {
public:
    explicit CountingSink(std::size_t& number) : count(number) {}
    void deliver(const ChainMessage& message) noexcept override {
        keep(message);
        ++count;
    }

private:
    std::size_t& count;
};

/// A chain over a script that sends one message for each that passes. `delivered` counts both.
std::shared_ptr<ToolChain> chainOver(ScriptLanguage language, std::size_t& delivered) {
    const bool isLua = language == ScriptLanguage::lua;
    const auto tool = std::make_shared<ScriptTool>();
    tool->change([&](ScriptSettings& settings) {
        settings.language = static_cast<std::int64_t>(language);
        settings.scriptSource = isLua ? "function onMessage(m) send{m.status, m.data1, m.data2} end"
                                      : "function onMessage(m) { send([m.status, m.data1, m.data2]) }";
    });
    auto chain = ToolChain::make({tool}, "Script");
    chain->setMessageDidExit(std::make_unique<CountingSink>(delivered));
    // The chain came after the settings.
    tool->install();
    if (!tool->isInstalled()) throw std::runtime_error("the script isn't installed: " + tool->installError());
    return chain;
}

/// Lua alone, with a function `bare` of three integers.
class BareLua {
public:
    explicit BareLua(const char* source) {
        luaL_openlibs(state);
        lua_register(state, "host", [](lua_State*) { return 0; });
        lua_register(state, "hostOfTable", readThree);
        luaL_dostring(state, source);
    }
    ~BareLua() { lua_close(state); }
    BareLua(const BareLua&) = delete;
    BareLua& operator=(const BareLua&) = delete;

    void call() {
        lua_getglobal(state, "bare");
        for (const int number : {0x90, 60, 100}) lua_pushinteger(state, number);
        lua_pcall(state, 3, 0, 0);
    }

private:
    static int readThree(lua_State* lua) {
        lua_Integer sum = 0;
        for (lua_Integer index = 1; index <= 3; ++index) {
            lua_rawgeti(lua, 1, index);
            sum += lua_tointeger(lua, -1);
        }
        keep(sum);
        return 0;
    }

    lua_State* const state = luaL_newstate();
};

/// One call of a host.
constexpr const char* bareCall = "function bare(a, b, c) host() end";

/// What no script in Lua does without: the tables of a message, a handler's own, and the host that reads it.
constexpr const char* bareTables = R"(
function onMessage(m) hostOfTable{m.status, m.data1, m.data2} end
function bare(a, b, c)
    onMessage{status = a, type = a & 0xF0, channel = a & 0x0F, data1 = b, data2 = c, bytes = {a, b, c}}
end
)";

/// The same of the JavaScript engine.
class BareJavaScript {
public:
    BareJavaScript() {
        const JSStringRef name = JSStringCreateWithUTF8CString("host");
        const JSObjectRef host = JSObjectMakeFunctionWithCallback(
            context, name,
            [](JSContextRef called, JSObjectRef, JSObjectRef, std::size_t, const JSValueRef*, JSValueRef*) {
                return JSValueMakeUndefined(called);
            });
        JSObjectSetProperty(context, JSContextGetGlobalObject(context), name, host, kJSPropertyAttributeNone, nullptr);
        JSStringRelease(name);
        const JSStringRef text = JSStringCreateWithUTF8CString("(function (a, b, c) { host() })");
        bare = JSValueToObject(context, JSEvaluateScript(context, text, nullptr, nullptr, 1, nullptr), nullptr);
        JSStringRelease(text);
        JSValueProtect(context, bare);
    }
    ~BareJavaScript() { JSGlobalContextRelease(context); }
    BareJavaScript(const BareJavaScript&) = delete;
    BareJavaScript& operator=(const BareJavaScript&) = delete;

    void call() {
        const JSValueRef numbers[]{JSValueMakeNumber(context, 0x90), JSValueMakeNumber(context, 60),
                                   JSValueMakeNumber(context, 100)};
        JSObjectCallAsFunction(context, bare, nullptr, 3, numbers, nullptr);
    }

private:
    const JSGlobalContextRef context = JSGlobalContextCreate(nullptr);
    JSObjectRef bare = nullptr;
};

/// Another thread, of the class that scripts run on, that is asked and answers.
class Answerer {
public:
    ~Answerer() {
        turnTo(Turn::over);
        thread.join();
    }

    void ask() {
        turnTo(Turn::theirs);
        std::unique_lock hold(mutex);
        changed.wait(hold, [this] { return turn == Turn::ours; });
    }

private:
    enum class Turn { ours, theirs, over };

    void turnTo(Turn next) {
        const std::scoped_lock hold(mutex);
        turn = next;
        changed.notify_all();
    }

    void answer() {
        std::unique_lock hold(mutex);
        for (;;) {
            changed.wait(hold, [this] { return turn != Turn::ours; });
            if (turn == Turn::over) return;
            turn = Turn::ours;
            changed.notify_all();
        }
    }

    std::mutex mutex;
    std::condition_variable changed;
    Turn turn = Turn::ours;
    std::thread thread = startServiceThread("answerer", true, [this] { answer(); }).thread;
};

/// What a script is measured against.
struct Floor {
    std::string name;
    std::function<void()> call;
    const char* meaning = "a script may stand in a dense stream";
};

void measure(const Effort& effort, const std::string& name, ScriptLanguage language, std::size_t count,
             const Floor& floor, Figures& figures) {
    std::size_t delivered = 0;
    const auto chain = chainOver(language, delivered);
    const auto callScript = [&] {
        const std::size_t before = delivered;
        chain->enter([&] { varnolexBenchWalk(*chain, count); });
        if (delivered - before != 2 * count) throw std::runtime_error(name + ": messages passed the script by");
    };
    const std::vector<double> medians =
        mediansOf(effort.passes, {callScript, [&] {
                                      for (std::size_t index = 0; index < count; ++index) floor.call();
                                  }});
    const double scale = 1e9 / static_cast<double>(count);
    figures.push_back(
        {name, medians[0] * scale, "ns", floor.name, medians[1] * scale, Figure::Limit::ratio, 1.3, floor.meaning});
}

void measureBoth(const Effort& effort, const std::string& suffix, std::size_t count, const std::string& floorSuffix,
                 const std::function<void()>& alsoInFloor, Figures& figures) {
    BareLua lua(bareCall);
    measure(effort, "script: Lua" + suffix, ScriptLanguage::lua, count,
            {"bare call" + floorSuffix, [&] { lua.call(), alsoInFloor(); }}, figures);
    BareJavaScript javascript;
    measure(effort, "script: JavaScript" + suffix, ScriptLanguage::javascript, count,
            {"bare call" + floorSuffix, [&] { javascript.call(), alsoInFloor(); }}, figures);
}

void measureLuaBesideItsTables(const Effort& effort, std::size_t count, Figures& figures) {
    BareLua lua(bareTables);
    measure(effort, "script: Lua, beside its own tables", ScriptLanguage::lua, count,
            {"Lua's tables and calls alone, ns", [&] { lua.call(); },
             "a message costs what Lua's own tables cost, no more"},
            figures);
}

}  // namespace

void measureScripts(const Effort& effort, Figures& figures) {
    const std::size_t count = effort.messages / 2;
    {
        const TestRuntime scope;
        measureBoth(
            effort, "", count, " and one of the host, ns", [] {}, figures);
        measureLuaBesideItsTables(effort, count, figures);
    }
    RealRuntime runtime;
    const RuntimeScope scope(runtime);
    Answerer answerer;
    measureBoth(
        effort, ", live", count / 10, " and another thread's answer, ns", [&] { answerer.ask(); }, figures);
}

}  // namespace varnolex::bench
