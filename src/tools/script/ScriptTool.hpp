#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>

#include "engine/ConfiguredTool.hpp"
#include "platform/Runtime.hpp"
#include "tools/script/ScriptSession.hpp"

namespace varnolex {

/// In the order in which documents number them.
enum class ScriptLanguage { javascript, lua, applescript };

struct ScriptSettings {
    /// A `ScriptLanguage`; any other number means the first.
    std::int64_t language = 0;
    std::string scriptSource;

    /// The processing road reads none of it.
    struct RealTime {};
    RealTime realTime() const { return {}; }
};

/// Runs a user's script on each message. JavaScript and Lua see a message in `onMessage`, and let it pass, block it,
/// and send others, at once or later; AppleScript runs beside the stream and changes nothing.
///
/// The walk waits for the script. Switching the tool off, installing anew, stopping the tool or ending the program ends
/// a script that doesn't come back. What isn't marked belongs to the main thread.
class ScriptTool final : public ConfiguredTool<ScriptSettings>, public ScriptNews {
public:
    ScriptTool();
    ~ScriptTool() override;

    void process(const ChainMessage& message, ToolChain& chain) override;
    void start(std::uint32_t midiClient) override;
    void stop() override;

    /// Ends the script that runs, if any, and begins anew with the settings' one. Called at every change of them, and
    /// for those that were made outside of a graph at the start. A script that takes long to load becomes installed
    /// later.
    void install();

    ScriptLanguage language() const;
    /// Whether messages go through a script.
    bool isInstalled() const { return installed; }
    /// Why the last install failed.
    const std::string& installError() const { return errorText; }
    /// What scripts and their errors have told, newest last, at most 50.
    const std::deque<std::string>& logLines() const { return lines; }
    /// A text that the script shows.
    const std::string& label() const { return labelText; }

    /// Called with each new line of the log, and with each failure to install.
    std::function<void(const std::string&)> onLog;

protected:
    void settingsDidChange(const ScriptSettings& before) override;
    void recordWasApplied() override;
    void enabledDidChange(bool isOn) override;

private:
    /// What walks use.
    struct Installed {
        std::shared_ptr<ScriptSession> session;
        bool isActive = false;
        /// The source of a script that only observes.
        std::shared_ptr<const std::string> observer;
    };

    void scriptTells(Kind news, std::string_view text) override;
    void handle(const ChainMessage& message, ToolChain& chain);
    void observe(const ChainMessage& message);
    void runObserver(const std::string& source, const ChainMessage& message);

    void installInGraph();
    std::unique_ptr<ScriptHost> makeHost();
    void installEngine();
    void finishLoading();
    void activate(Installed next);
    void dropSession();
    void fail(const std::string& reason);
    void appendLine(std::string line);

    const std::shared_ptr<Queue> scriptQueue;
    const std::shared_ptr<Queue> applescriptQueue;

    bool installed = false;
    bool installsAtStart = false;
    std::string errorText;
    std::deque<std::string> lines;
    std::string labelText;
    RepeatingTimer loadWatch;
    /// For whoever switches the tool off, on any thread.
    Guarded<std::shared_ptr<ScriptSession>> session;
    SharedValue<bool> hasToldNoObserver{false};
    /// After a load that was called off because the tool was switched off.
    SharedValue<bool> installsWhenEnabled{false};

    /// Touched inside walks only.
    Installed inUse;
};

}  // namespace varnolex
