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

class Sink final : public ChainExit {
public:
    void deliver(const ChainMessage& message) noexcept override { keep(message); }
};

/// A chain over a script that sends one message for each that passes.
std::shared_ptr<ToolChain> chainOver(ScriptLanguage language) {
    const bool isLua = language == ScriptLanguage::lua;
    const auto tool = std::make_shared<ScriptTool>();
    tool->change([&](ScriptSettings& settings) {
        settings.language = static_cast<std::int64_t>(language);
        settings.scriptSource = isLua ? "function onMessage(m) send{m.status, m.data1, m.data2} end"
                                      : "function onMessage(m) { send([m.status, m.data1, m.data2]) }";
    });
    if (!tool->isInstalled()) throw std::runtime_error("the script isn't installed: " + tool->installError());
    auto chain = ToolChain::make({tool}, "Script");
    chain->setMessageDidExit(std::make_unique<Sink>());
    // The chain came after the script, so it goes in anew.
    tool->install();
    return chain;
}

/// Lua's own call of a function that takes three integers and calls the host once.
class BareLua {
public:
    BareLua() {
        luaL_openlibs(state);
        lua_register(state, "host", [](lua_State*) { return 0; });
        luaL_dostring(state, "function bare(a, b, c) host() end");
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
    lua_State* const state = luaL_newstate();
};

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

void measure(const Effort& effort, const std::string& name, ToolChain& chain, std::size_t count,
             const std::string& floorName, const std::function<void()>& floorCall, Figures& figures) {
    const std::vector<double> medians =
        mediansOf(effort.passes, {[&] { chain.enter([&] { varnolexBenchWalk(chain, count); }); },
                                  [&] {
                                      for (std::size_t index = 0; index < count; ++index) floorCall();
                                  }});
    const double scale = 1e9 / static_cast<double>(count);
    figures.push_back({name, medians[0] * scale, "ns", floorName, medians[1] * scale, Figure::Limit::ratio, 1.3,
                       "a script may stand in a dense stream"});
}

void measureBoth(const Effort& effort, const std::string& suffix, std::size_t count, const std::string& floorSuffix,
                 const std::function<void()>& alsoInFloor, Figures& figures) {
    BareLua lua;
    measure(
        effort, "script: Lua" + suffix, *chainOver(ScriptLanguage::lua), count, "bare call" + floorSuffix,
        [&] { lua.call(), alsoInFloor(); }, figures);
    BareJavaScript javascript;
    measure(
        effort, "script: JavaScript" + suffix, *chainOver(ScriptLanguage::javascript), count, "bare call" + floorSuffix,
        [&] { javascript.call(), alsoInFloor(); }, figures);
}

}  // namespace

void measureScripts(const Effort& effort, Figures& figures) {
    const std::size_t count = effort.messages / 2;
    {
        const TestRuntime scope;
        measureBoth(
            effort, "", count, " and one of the host, ns", [] {}, figures);
    }
    RealRuntime runtime;
    const RuntimeScope scope(runtime);
    Answerer answerer;
    measureBoth(
        effort, ", live", count / 10, " and another thread's answer, ns", [&] { answerer.ask(); }, figures);
}

}  // namespace varnolex::bench
