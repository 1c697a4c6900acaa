#include "tools/script/ScriptSession.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "engine/ToolChain.hpp"
#include "platform/Interruption.hpp"
#include "platform/keys/KeyService.hpp"
#include "tools/script/SharedScriptStore.hpp"

namespace varnolex {
namespace {

using namespace std::chrono_literals;

/// How often a walk that waits for a script looks around.
constexpr Nanoseconds lookInterval = 10ms;
/// What counts of the time between two looks. Where the whole machine stood still, nobody has waited for the script.
constexpr Nanoseconds longestLook = 2 * lookInterval;
/// What a script gets to obey a request to stop.
constexpr Nanoseconds timeToStop = 80ms;
/// What the main thread gets to answer while a script runs. If it doesn't, the user may be waiting for this very
/// script, through the chain's lock, and could do nothing about it.
constexpr Nanoseconds timeToAnswer = 80ms;

constexpr std::size_t fullOutbox = 4096;
constexpr std::size_t longestMessage = std::size_t{1} << 20;
constexpr std::size_t mostInjects = 4096;
constexpr std::size_t mostInjectedBytes = std::size_t{16} << 20;
constexpr std::size_t longestText = 8192;
constexpr double longestDelay = 1e9;

/// How deep walks that come out of injected messages may nest. What goes deeper takes its turn a moment later, so that
/// a script that injects without end leaves time to others, and lets time go on where it is simulated.
constexpr int deepestInject = 8;
constexpr Nanoseconds deeperInjectDelay = 100us;

/// Presses and releases a key, with the modifier of this number held: shift, control, option, command from 1 on.
void postKey(int keyCode, int modifier) {
    constexpr std::array<std::uint64_t, 5> flags{0, keyFlagShift, keyFlagControl, keyFlagAlternate, keyFlagCommand};
    KeyService* const keys = KeyService::shared();
    if (!keys) return;
    const bool isKnown = modifier >= 0 && modifier < static_cast<int>(flags.size());
    KeyEvent key{static_cast<KeyCode>(keyCode), true, isKnown ? flags[static_cast<std::size_t>(modifier)] : 0};
    keys->post(key);
    key.isDown = false;
    keys->post(key);
}

}  // namespace

ScriptSession::ScriptSession(std::weak_ptr<PipeTool> scriptTool, std::shared_ptr<Queue> scriptQueue,
                             std::unique_ptr<ScriptHost> scriptHost)
    : tool(scriptTool),
      delayed(std::make_shared<DelayedSends>(scriptTool, std::move(scriptQueue))),
      host(std::move(scriptHost)) {
    setCallbacks();
    if (Runtime::current().isSimulated()) return;
    outbox.reserve(2 * fullOutbox);
    host->stopRequested = &isStopRequested;
    thread = std::make_unique<ScriptThread>("varnolex-script");
}

void ScriptSession::setCallbacks() {
    const auto view = [](const std::uint8_t* bytes, std::size_t count) { return std::span(bytes, count); };
    host->sendCallback = [=, this](const std::uint8_t* bytes, std::size_t count) { send(view(bytes, count)); };
    host->blockCallback = [this] { shouldBlock = shouldBlock || !isLeftBehind(); };
    host->injectCallback = [=, this](const std::uint8_t* bytes, std::size_t count) { inject(view(bytes, count)); };
    host->delayCallback = [=, this](double milliseconds, const std::uint8_t* bytes, std::size_t count) {
        delay(milliseconds, view(bytes, count));
    };
    host->flushCallback = [this] { flush(); };
    host->logCallback = [this](std::string_view text) { tell(ScriptNews::Kind::log, text); };
    host->setLabelCallback = [this](std::string_view text) { tell(ScriptNews::Kind::label, text); };
    host->setNameCallback = [this](std::string_view text) { tell(ScriptNews::Kind::name, text); };
    host->clockCallback = [this] {
        // A script that looks at the clock may wait for it, so what it has sent shall be out by now.
        if (thread && !outbox.empty()) thread->pause();
        return Runtime::isInstalled() ? Runtime::current().mediaTime() : 0.0;
    };
    host->globalGetCallback = [](std::string_view key) { return SharedScriptStore::globalStore().get(key); };
    host->globalSetCallback = [this](std::string_view key, std::optional<ScriptValue> value) {
        if (!SharedScriptStore::globalStore().set(key, std::move(value)))
            tell(ScriptNews::Kind::log, "globalSet: the scripts' common store is full");
    };
    host->sendKeyCallback = [this](int keyCode, int modifier) {
        if (!isLeftBehind()) Runtime::current().postToMain([=] { postKey(keyCode, modifier); });
    };
    host->seedCallback = [] { return Runtime::current().randomBits(); };
    if (!Runtime::current().isSimulated()) return;
    host->calendarCallback = [] {
        const Runtime& runtime = Runtime::current();
        const double sinceSecond = runtime.mediaTime() - std::floor(runtime.mediaTime());
        return static_cast<double>(runtime.calendarSeconds()) + sinceSecond;
    };
}

// What scripts ask for

void ScriptSession::send(std::span<const std::uint8_t> bytes) {
    if (!isInMessage || bytes.size() > longestMessage) return;
    if (!thread) return currentChain->forward({bytes.data(), bytes.size(), currentTimeStamp, currentIsLast});
    if (isLeftBehind()) return;
    const std::size_t place = outbox.size();
    const auto length = static_cast<std::uint32_t>(bytes.size());
    outbox.resize(place + sizeof length + length);
    std::memcpy(outbox.data() + place, &length, sizeof length);
    std::memcpy(outbox.data() + place + sizeof length, bytes.data(), length);
    if (outbox.size() >= fullOutbox) thread->pause();
}

void ScriptSession::inject(std::span<const std::uint8_t> bytes) {
    if (bytes.size() > longestMessage || isLeftBehind()) return;
    if (pendingInjects.size() >= mostInjects || injectedBytes + bytes.size() > mostInjectedBytes) return;
    injectedBytes += bytes.size();
    pendingInjects.emplace_back(bytes);
}

void ScriptSession::delay(double milliseconds, std::span<const std::uint8_t> bytes) {
    if (bytes.size() > longestMessage || isLeftBehind()) return;
    const double bounded = milliseconds > 0 ? std::min(milliseconds, longestDelay) : 0;
    if (!delayed->schedule(Nanoseconds(std::llround(bounded * 1e6)),
                           {bytes.data(), bytes.size(), currentTimeStamp, currentIsLast}, DelayedSends::Entry::forward))
        tell(ScriptNews::Kind::log, "delay: too many messages wait already");
}

void ScriptSession::tell(ScriptNews::Kind kind, std::string_view text) {
    if (!isLeftBehind()) post(kind, text);
}

void ScriptSession::post(ScriptNews::Kind kind, std::string_view text) {
    if (!Runtime::isInstalled()) return;
    Runtime::current().postToMain([to = tool, kind, copy = PooledBytes(text.substr(0, longestText))] {
        if (const auto living = to.lock())
            if (auto* const news = dynamic_cast<ScriptNews*>(living.get())) news->scriptTells(kind, copy.text());
    });
}

// The engine's thread

void ScriptSession::run() noexcept {
    switch (task) {
        case Task::load:
            hasFailed = !host->loadScript(source);
            break;
        case Task::message:
            host->processMessage(messageCopy.data(), messageCopy.size());
            break;
        case Task::close:
            host.reset();
            break;
    }
}

// The walk

bool ScriptSession::process(const ChainMessage& message, ToolChain& chain) {
    const std::size_t firstInject = depth == 0 ? 0 : pendingInjects.size();
    currentChain = &chain;
    currentTimeStamp = message.timeStamp;
    currentIsLast = message.isLastInBatch;
    shouldBlock = false;
    isBusy = isInMessage = true;
    if (thread) {
        runOnThread(message);
    } else {
        const UninterruptibleWork untilBack;
        host->processMessage(message.bytes, message.length);
    }
    isBusy = false;
    // A script that was left behind may still write to the rest.
    if (isLost.get()) return true;
    isInMessage = false;
    currentChain = nullptr;
    const bool passes = !shouldBlock;
    if (pendingInjects.size() > firstInject) sendInjects(firstInject, message, chain);
    return passes;
}

void ScriptSession::runOnThread(const ChainMessage& message) {
    messageCopy.assign(message.bytes, message.bytes + message.length);
    lastLook = 0;
    waitedForStop = 0ns;
    task = Task::message;
    thread->begin(*this);
    for (;;) {
        const ScriptThread::Turn turn = thread->wait(lookInterval);
        if (turn != ScriptThread::Turn::running) forwardOutbox();
        if (turn == ScriptThread::Turn::ended) break;
        if (mustLeaveBehind()) return leaveBehind();
        if (turn == ScriptThread::Turn::paused) thread->resume();
    }
    if (!std::exchange(isStoppedForMain, false)) return;
    allowRun();
    // The next call asks anew, should the question have been lost.
    mainHasAnswered->set(true);
    tell(ScriptNews::Kind::log, "The script was stopped, since the program was waiting for it");
}

bool ScriptSession::mustLeaveBehind() {
    const HostTime now = Runtime::current().hostTime();
    const HostTime before = std::exchange(lastLook, now);
    const Nanoseconds waited = before == 0 ? 0ns : std::min(Nanoseconds(now - before), longestLook);
    if (isStopRequested.get()) return (waitedForStop += waited) >= timeToStop;
    askMainThread(waited);
    return false;
}

void ScriptSession::askMainThread(Nanoseconds waited) {
    if (mainHasAnswered->get()) {
        mainHasAnswered->set(false);
        waitedForMain = 0ns;
        Runtime::current().postToMain([answer = mainHasAnswered] { answer->set(true); });
    } else if ((waitedForMain += waited) >= timeToAnswer) {
        isStoppedForMain = true;
        requestStop();
    }
}

void ScriptSession::leaveBehind() {
    isLost.set(true);
    thread->giveUp(shared_from_this());
    post(ScriptNews::Kind::lost, {});
}

void ScriptSession::forwardOutbox() {
    std::uint32_t length = 0;
    for (std::size_t place = 0; place < outbox.size(); place += length) {
        std::memcpy(&length, outbox.data() + place, sizeof length);
        place += sizeof length;
        currentChain->forward({outbox.data() + place, length, currentTimeStamp, currentIsLast});
    }
    outbox.clear();
}

/// What nested walks inject comes and goes behind what is sent here.
void ScriptSession::sendInjects(std::size_t first, const ChainMessage& like, ToolChain& chain) {
    const std::size_t end = pendingInjects.size();
    ++depth;
    for (std::size_t index = first; index < end; ++index) {
        const auto bytes = std::as_const(pendingInjects[index]).bytes();
        if (depth <= deepestInject)
            chain.send(like.carrying(bytes));
        else
            delayed->schedule(deeperInjectDelay, like.carrying(bytes), DelayedSends::Entry::send);
        // What was left behind in a nested walk may still write to them.
        if (isLost.get()) return;
    }
    --depth;
    pendingInjects.resize(first);
    if (depth == 0) injectedBytes = 0;
}

// The main thread

void ScriptSession::load(std::string scriptSource) {
    source = std::move(scriptSource);
    isLoading = true;
    task = Task::load;
    if (thread) return thread->begin(*this);
    const UninterruptibleWork untilBack;
    run();
}

bool ScriptSession::isLoaded(Nanoseconds atMost) {
    if (isLoading && (!thread || thread->wait(atMost) == ScriptThread::Turn::ended)) isLoading = false;
    return !isLoading;
}

std::optional<std::string> ScriptSession::loadError() const {
    return hasFailed ? std::optional(host->error()) : std::nullopt;
}

bool ScriptSession::end() {
    flush();
    if (!thread) host.reset();
    if (!thread || thread->wasGivenUp()) return true;
    requestStop();
    if (thread->wait(timeToStop) == ScriptThread::Turn::ended) {
        task = Task::close;
        thread->begin(*this);
        if (thread->wait(timeToStop) == ScriptThread::Turn::ended) return true;
    }
    thread->giveUp(shared_from_this());
    return false;
}

}  // namespace varnolex
