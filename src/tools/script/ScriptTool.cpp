#include "tools/script/ScriptTool.hpp"

#include <algorithm>
#include <array>
#include <system_error>
#include <utility>

#include "engine/ToolChain.hpp"
#include "platform/script/AppleScript.hpp"
#include "platform/script/JavaScriptLibrary.hpp"
#include "platform/script/LuaBridge.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/script/ObserverText.hpp"
#include "tools/timing/WalkTimer.hpp"

namespace varnolex {
namespace {

using namespace std::chrono_literals;
using namespace parameters;

constexpr std::array table{
    integer<&ScriptSettings::language>("language"),
    text<&ScriptSettings::scriptSource>("scriptSource"),
};

constexpr std::size_t mostLines = 50;

constexpr const char* leftBehindLine =
    "The script didn't stop when it was asked to, and was left behind; it takes no more messages";

/// What the main thread waits for a script to load, before it turns to other things.
constexpr Nanoseconds patience = 80ms;
constexpr Nanoseconds loadWatchInterval = 20ms;

bool isNoteOnOfNoVelocity(const ChainMessage& message) {
    return message.length >= 3 && message.kind() == 0x90 && message.data2() == 0;
}

}  // namespace

ScriptTool::ScriptTool()
    : ConfiguredTool(scriptDefinition),
      scriptQueue(Runtime::current().makeQueue("com.varnolex.script", QueuePriority::timing)),
      applescriptQueue(Runtime::current().makeQueue("com.varnolex.applescript", QueuePriority::normal)) {}

ScriptTool::~ScriptTool() { dropSession(); }

// The walk

void ScriptTool::process(const ChainMessage& message, ToolChain& chain) {
    if (!inUse.isActive || message.length < 1) return chain.forward(message);
    if (!isNoteOnOfNoVelocity(message)) [[likely]]
        return handle(message, chain);
    PooledBytes copy(std::span(message.bytes, message.length));
    copy.bytes()[0] &= 0xEF;
    handle(message.carrying(copy.bytes()), chain);
}

void ScriptTool::handle(const ChainMessage& message, ToolChain& chain) {
    if (ScriptSession* const running = inUse.session.get()) {
        if (running->isReady() && !running->process(message, chain)) return;
    } else if (inUse.observer && !hasToldNoObserver.get()) {
        observe(message);
    }
    chain.forward(message);
}

void ScriptTool::observe(const ChainMessage& message) {
    applescriptQueue->async([self = weak_from_this(), source = inUse.observer,
                             begin = PooledBytes(std::span(message.bytes, std::min<std::size_t>(message.length, 3)))] {
        const auto tool = self.lock();
        if (!tool) return;
        const std::string text = observerText(*source, begin.bytes());
        const auto error = runAppleScript(text);
        auto& script = static_cast<ScriptTool&>(*tool);
        if (!error || script.hasToldNoObserver.exchange(true)) return;
        Runtime::current().postToMain([self, line = PooledBytes("[AS error] " + *error)] {
            if (const auto living = self.lock()) static_cast<ScriptTool&>(*living).scriptTells(Kind::log, line.text());
        });
    });
}

// The main thread

ScriptLanguage ScriptTool::language() const {
    const std::int64_t number = settings().language;
    return number == 1 || number == 2 ? static_cast<ScriptLanguage>(number) : ScriptLanguage::javascript;
}

void ScriptTool::start(std::uint32_t) {
    if (std::exchange(installsAtStart, false)) install();
}

void ScriptTool::stop() {
    installsAtStart = installsAtStart || installed || loadWatch;
    dropSession();
}

void ScriptTool::settingsDidChange(const ScriptSettings& before) {
    if (before.language != settings().language || before.scriptSource != settings().scriptSource) installInGraph();
}

void ScriptTool::recordWasApplied() {
    if (!installed && !loadWatch && errorText.empty()) installInGraph();
}

/// Whoever only reads or rewrites a document runs none of its scripts.
void ScriptTool::installInGraph() {
    if (chain()) return install();
    installsAtStart = true;
}

void ScriptTool::enabledDidChange(bool isOn) {
    bool wasLost = false;
    session.with([&](const std::shared_ptr<ScriptSession>& running) {
        if (!running) return;
        wasLost = running->wasLost();
        if (isOn)
            running->allowRun();
        else
            running->requestStop();
    });
    if (!isOn || !(installsWhenEnabled.exchange(false) || wasLost)) return;
    Runtime::current().postToMain([self = weak_from_this()] {
        if (const auto tool = self.lock()) static_cast<ScriptTool&>(*tool).install();
    });
}

void ScriptTool::install() {
    dropSession();
    installsAtStart = false;
    errorText.clear();
    hasToldNoObserver.set(false);
    installsWhenEnabled.set(false);
    const std::string& source = settings().scriptSource;
    if (language() == ScriptLanguage::applescript)
        return activate({nullptr, true, source.empty() ? nullptr : std::make_shared<const std::string>(source)});
    // Nothing to run needs no engine.
    if (source.empty()) return activate({nullptr, true, nullptr});
    installEngine();
}

void ScriptTool::installEngine() {
    auto host = makeHost();
    if (!host) return;
    std::shared_ptr<ScriptSession> loading;
    try {
        loading = std::make_shared<ScriptSession>(weak_from_this(), scriptQueue, std::move(host));
    } catch (const std::system_error& error) {
        return fail("The script got no thread: " + std::string(error.what()));
    }
    session.set(loading);
    loading->load(settings().scriptSource);
    if (loading->isLoaded(patience)) return finishLoading();
    appendLine("The script takes long to load; until it is installed, messages pass unchanged");
    loadWatch = Runtime::current().mainQueue().repeating(0, loadWatchInterval, [self = weak_from_this()] {
        const auto tool = self.lock();
        if (!tool) return;
        auto& script = static_cast<ScriptTool&>(*tool);
        if (const auto held = script.session.get(); held && held->isLoaded(0ns)) script.finishLoading();
    });
}

std::unique_ptr<ScriptHost> ScriptTool::makeHost() {
    if (language() == ScriptLanguage::lua) return makeLuaHost();
    JavaScriptLibrary::Made made = JavaScriptLibrary::makeHost();
    if (!made.host) fail(made.error);
    return std::move(made.host);
}

void ScriptTool::finishLoading() {
    loadWatch.reset();
    const auto loaded = session.get();
    if (const auto error = loaded->loadError()) {
        dropSession();
        installsWhenEnabled.set(!isEnabled());
        return fail(*error);
    }
    activate({loaded, true, nullptr});
}

void ScriptTool::activate(Installed next) {
    installed = next.isActive;
    inWalkOf(*this, [&] { std::swap(inUse, next); });
}

void ScriptTool::dropSession() {
    loadWatch.reset();
    const auto old = session.take();
    // A walk that waits for it comes back, and lets go of the lock.
    if (old) old->requestStop();
    activate({});
    if (old && !old->end()) appendLine(leftBehindLine);
}

void ScriptTool::fail(const std::string& reason) {
    errorText = reason;
    if (onLog) onLog(reason);
}

void ScriptTool::scriptTells(Kind news, std::string_view text) {
    switch (news) {
        case Kind::log:
            return appendLine(std::string(text));
        case Kind::label:
            labelText = text;
            return;
        case Kind::name:
            return setName(std::string(text));
        case Kind::lost:
            break;
    }
    if (const auto held = session.get(); !held || !held->wasLost()) return;
    activate({});
    errorText = leftBehindLine;
    appendLine(errorText);
}

void ScriptTool::appendLine(std::string line) {
    if (onLog) onLog(line);
    lines.push_back(std::move(line));
    if (lines.size() > mostLines) lines.pop_front();
}

const ToolDefinition scriptDefinition{PipeToolType::script, "ScriptConfig", table,
                                      []() -> std::shared_ptr<PipeTool> { return std::make_shared<ScriptTool>(); }};

}  // namespace varnolex
