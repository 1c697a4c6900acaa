#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/concurrency/LiveValue.hpp"
#include "platform/script/ScriptValue.hpp"

namespace varnolex {

/// A script in the engine of its language. What the script asks for comes out of the callbacks, inside `loadScript` and
/// `processMessage`; those that are empty do nothing. They are set before a script is loaded, and must not throw.
///
/// One thread at a time. Nothing here reads a clock or draws: `clockCallback`, `calendarCallback` and `seedCallback`
/// bring it.
class ScriptHost {
public:
    ScriptHost() = default;
    virtual ~ScriptHost() = default;
    ScriptHost(const ScriptHost&) = delete;
    ScriptHost& operator=(const ScriptHost&) = delete;

    std::function<void(const std::uint8_t* bytes, std::size_t count)> sendCallback;
    std::function<void()> blockCallback;
    std::function<void(const std::uint8_t* bytes, std::size_t count)> injectCallback;
    std::function<void(double milliseconds, const std::uint8_t* bytes, std::size_t count)> delayCallback;
    std::function<void()> flushCallback;
    std::function<void(std::string_view text)> logCallback;
    /// The media clock in seconds.
    std::function<double()> clockCallback;
    std::function<void(std::string_view text)> setLabelCallback;
    std::function<void(std::string_view text)> setNameCallback;
    std::function<std::optional<ScriptValue>(std::string_view key)> globalGetCallback;
    /// Without a value the key goes.
    std::function<void(std::string_view key, std::optional<ScriptValue> value)> globalSetCallback;
    std::function<void(int keyCode, int modifier)> sendKeyCallback;

    /// Where set, the engine's own calendar tells this time, in seconds since 1970, and nothing of the machine's.
    std::function<double()> calendarCallback;
    /// What the engine's random draws begin from.
    std::function<std::uint64_t()> seedCallback;

    /// Where set before loading, the engine looks at it while the script runs, at least 50 times a second, and ends
    /// the script once it is true. Code of the engine itself, such as the search of a pattern, runs on. Without it
    /// the script runs at full speed.
    const SharedValue<bool>* stopRequested = nullptr;

    /// Runs the script and its `onLoad`. False with the reason in `error`.
    virtual bool loadScript(const std::string& source) = 0;

    /// Calls the script's `onMessage`, if there is one. An error goes to `logCallback`.
    virtual void processMessage(const std::uint8_t* bytes, std::size_t size) = 0;

    /// Why loading failed.
    const std::string& error() const { return errorText; }

protected:
    bool isStopRequested() const { return stopRequested && stopRequested->get(); }

    bool fail(std::string reason) {
        errorText = std::move(reason);
        return false;
    }

private:
    std::string errorText;
};

}  // namespace varnolex
