#pragma once

#include <algorithm>
#include <cmath>
#include <optional>
#include <type_traits>

#include "engine/PipeTool.hpp"
#include "platform/concurrency/ChangeCount.hpp"
#include "platform/concurrency/Snapshot.hpp"

namespace varnolex {

/// For tools that can't be ridden.
struct NoLiveValues {};

/// What of a settings record the processing road reads: the record itself, or, for a record that can't be copied
/// without allocating, the plain one that its `realTime()` makes of it.
template <class Settings>
struct RealTimeSettings {
    using Type = Settings;
    static Type of(const Settings& settings) { return settings; }
};

template <class Settings>
requires requires(const Settings& settings) { settings.realTime(); }
struct RealTimeSettings<Settings> {
    using Type = decltype(std::declval<const Settings&>().realTime());
    static Type of(const Settings& settings) { return settings.realTime(); }
};

/// The part of a tool that owns its settings. The main thread edits `Settings`; the processing road reads a whole
/// snapshot of them without a lock. `Lives` holds a `LiveValue` for each parameter that can be ridden.
template <class Settings, class Lives = NoLiveValues>
class ConfiguredTool : public PipeTool {
public:
    using RealTime = typename RealTimeSettings<Settings>::Type;

    explicit ConfiguredTool(const ToolDefinition& kindDefinition)
        : PipeTool(kindDefinition), stored(freshSettings()), snapshot(RealTimeSettings<Settings>::of(stored)) {}

    /// Main thread.
    const Settings& settings() const { return stored; }

    /// Main thread: changes the settings through `edit(Settings&)` as one change.
    template <class Edit>
    void change(Edit&& edit) {
        const Settings before = settingsToKeep();
        Settings next = before;
        edit(next);
        adopt(next, before);
    }

    bool takesLiveValues() const override { return !std::is_same_v<Lives, NoLiveValues>; }

    std::string_view liveKey(std::string_view key) const override {
        const Parameter* row = liveRow(key);
        return row ? row->liveKey() : std::string_view{};
    }

    void setLiveValue(std::optional<double> value, std::string_view key) override {
        const Parameter* row = liveRow(key);
        if (!row) return;
        row->live(&lives)->set(value);
        changeCount.add();
        liveValueDidChange();
    }

    void viewSettings(SettingsBase base, const std::function<void(const void*)>& look) const override {
        const Settings shown = settingsFrom(base);
        look(&shown);
    }

    void editSettings(SettingsBase base, const std::function<void(void*)>& edit) override {
        const Settings before = settingsToKeep();
        Settings next = base == SettingsBase::current ? before : settingsFrom(base);
        edit(&next);
        adopt(next, before);
    }

protected:
    /// Any thread: the settings as last published.
    RealTime current() const { return snapshot.read(); }

    /// Under the walk's lock: the settings as last published, ridden by the live values if they have a `ride(Lives)`.
    /// They stand in one place and are copied only when something has changed, so a look at some of them costs no more
    /// than these; the next call may put newer ones there.
    const RealTime& settingsInWalk() const {
        if (changeCount.isBeyond(walk.seen)) [[unlikely]]
            takeSettings();
        return walk.settings;
    }

    const Lives& live() const { return lives; }

    /// Everything that a change of settings sets off, called once per change on the main thread, after the new
    /// settings are in force. `before` is what the edit started from, so what it left alone is equal in both.
    virtual void settingsDidChange(const Settings& /*before*/) {}

    /// Called on the main thread after a live value was set or cleared.
    virtual void liveValueDidChange() {}

    /// The settings as documents keep them, for tools that hold some of them elsewhere while they run.
    virtual Settings settingsToKeep() const { return stored; }

private:
    static Settings freshSettings() {
        if constexpr (requires { Settings::fresh(); })
            return Settings::fresh();
        else
            return Settings{};
    }

    Settings settingsFrom(SettingsBase base) const {
        switch (base) {
            case SettingsBase::silence:
                return Settings{};
            case SettingsBase::fresh:
                return freshSettings();
            case SettingsBase::current:
                break;
        }
        return settingsToKeep();
    }

    void adopt(const Settings& next, const Settings& before) {
        stored = next;
        snapshot.publish(RealTimeSettings<Settings>::of(stored));
        changeCount.add();
        settingsDidChange(before);
    }

    [[gnu::noinline]] void takeSettings() const {
        walk.seen = changeCount.get();
        walk.settings = snapshot.read();
        if constexpr (requires { walk.settings.ride(lives); }) walk.settings.ride(lives);
    }

    const Parameter* liveRow(std::string_view key) const {
        for (const Parameter& row : definition().parameters)
            if (row.live && row.liveKey() == key) return &row;
        return nullptr;
    }

    Settings stored;
    Snapshot<RealTime> snapshot;
    mutable Lives lives;
    /// Counts the publications and the changes of live values, each when it is done.
    ChangeCount changeCount;

    /// What walks have taken of the snapshot; touched by them only.
    struct InWalk {
        std::uint64_t seen = 0;
        RealTime settings{};
    };
    mutable InWalk walk;
};

// Hardly any live value is set: that much is asked in place, and what is to be done with one that is stays out of the
// way.

[[gnu::noinline, gnu::cold]] inline int roundedSetLive(const LiveValue& live, int stored) {
    const double value = live.get().value_or(stored);
    return clampedInt(-1'000'000, 1'000'000, std::isfinite(value) ? value : stored);
}

[[gnu::noinline, gnu::cold]] inline int clampedSetLive(int low, int high, const LiveValue& live, std::int64_t stored) {
    return clampedInt(low, high, live.get().value_or(static_cast<double>(stored)));
}

/// A live value as it stands, else the stored one, rounded to the nearest integer (halves away from zero) without
/// limits of its own. A live value that isn't finite counts as not set; one beyond any use is limited.
[[gnu::always_inline]] inline int roundedLive(const LiveValue& live, int stored) {
    if (!live.isSet()) [[likely]]
        return stored;
    return roundedSetLive(live, stored);
}

/// A live value as it stands, else the stored one, rounded and limited to [low, high].
[[gnu::always_inline]] inline int clampedLive(int low, int high, const LiveValue& live, std::int64_t stored) {
    if (!live.isSet()) [[likely]]
        return static_cast<int>(std::clamp<std::int64_t>(stored, low, high));
    return clampedSetLive(low, high, live, stored);
}

}  // namespace varnolex
