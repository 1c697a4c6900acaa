#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/ChainMessage.hpp"
#include "engine/PipeTool.hpp"
#include "platform/Runtime.hpp"
#include "platform/concurrency/PooledBytes.hpp"
#include "platform/script/ScriptHost.hpp"
#include "platform/script/ScriptThread.hpp"
#include "tools/script/DelayedSends.hpp"

namespace varnolex {

class ToolChain;

/// What a script wants told on the main thread. Functions of the tool, called there.
class ScriptNews {
public:
    enum class Kind { log, label, name, lost };
    virtual ~ScriptNews() = default;
    virtual void scriptTells(Kind kind, std::string_view text) = 0;
};

/// One script from its install to its end, with its engine. In live work the engine has a thread of its own, for which
/// the walk waits: a script that doesn't come back can be stopped, and if even that is in vain (code of the engine runs
/// on, as in the search of a pattern) be left behind, so that the walk goes on. In simulated time it runs on the
/// calling thread.
class ScriptSession final : public std::enable_shared_from_this<ScriptSession>, private ScriptThread::Work {
public:
    ScriptSession(std::weak_ptr<PipeTool> scriptTool, std::shared_ptr<Queue> scriptQueue,
                  std::unique_ptr<ScriptHost> scriptHost);

    // Main thread

    /// Begins to load the script and its `onLoad`; `isLoaded` tells of the end.
    void load(std::string scriptSource);

    /// Waits for the end of loading, at most this long. True when it is over.
    bool isLoaded(Nanoseconds atMost);

    /// Why loading failed, once it is over.
    std::optional<std::string> loadError() const;

    /// Ends the script. Behind `requestStop`, and when no walk finds the session any more. Takes a tenth of a second
    /// at most. False when the script had to be left behind just now.
    bool end();

    /// Makes a script that runs come to its end soon. Any thread.
    void requestStop() { isStopRequested.set(true); }

    /// Lets it run again from the next message on. Any thread.
    void allowRun() { isStopRequested.set(false); }

    /// Whether its thread had to be left behind: then it takes no more messages. Any thread.
    bool wasLost() const { return isLost.get(); }

    /// Calls off what it has asked for later. Any thread.
    void flush() { delayed->flush(); }

    // Under the walk's lock

    /// Whether it can take a message: it isn't lost, and not in the middle of another one.
    bool isReady() const { return !isBusy && !isLost.get(); }

    /// Runs the script on a message, with everything it sends and injects. False when the message is blocked.
    bool process(const ChainMessage& message, ToolChain& chain);

private:
    enum class Task { load, message, close };

    void run() noexcept override;
    void setCallbacks();
    void send(std::span<const std::uint8_t> bytes);
    void inject(std::span<const std::uint8_t> bytes);
    void delay(double milliseconds, std::span<const std::uint8_t> bytes);
    void tell(ScriptNews::Kind kind, std::string_view text);
    bool isLeftBehind() const { return thread && thread->wasGivenUp(); }

    void runOnThread(const ChainMessage& message);
    bool mustLeaveBehind();
    void askMainThread(Nanoseconds waited);
    void leaveBehind();
    void forwardOutbox();
    void sendInjects(std::size_t first, const ChainMessage& like, ToolChain& chain);
    void post(ScriptNews::Kind kind, std::string_view text);

    const std::weak_ptr<PipeTool> tool;
    const std::shared_ptr<DelayedSends> delayed;
    std::unique_ptr<ScriptHost> host;
    SharedValue<bool> isStopRequested{false};

    std::string source;
    std::vector<std::uint8_t> messageCopy;
    Task task = Task::load;
    bool isLoading = false;
    bool hasFailed = false;

    // Touched by whoever has the turn: the walk, or the script that it waits for.
    ToolChain* currentChain = nullptr;
    HostTime currentTimeStamp = 0;
    bool currentIsLast = true;
    bool isInMessage = false;
    bool shouldBlock = false;
    /// Each with its length in front, waiting for the thread that may forward.
    std::vector<std::uint8_t> outbox;
    std::vector<PooledBytes> pendingInjects;
    std::size_t injectedBytes = 0;

    // The walk's own.
    bool isBusy = false;
    int depth = 0;
    /// When the walk that waits last looked around, or 0.
    HostTime lastLook = 0;
    Nanoseconds waitedForStop{};
    Nanoseconds waitedForMain{};
    bool isStoppedForMain = false;
    SharedValue<bool> isLost{false};
    const std::shared_ptr<SharedValue<bool>> mainHasAnswered = std::make_shared<SharedValue<bool>>(true);

    /// Empty in simulated time. Last, so that it ends first.
    std::unique_ptr<ScriptThread> thread;
};

}  // namespace varnolex
