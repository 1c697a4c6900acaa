#include "studio/LegacyDocumentMigrator.hpp"

#include <array>
#include <optional>

#include <nlohmann/json.hpp>

#include "platform/DefaultsStore.hpp"
#include "platform/VarnolexLogger.hpp"
#include "studio/BoundedJSON.hpp"
#include "studio/DocumentError.hpp"

namespace varnolex {
namespace {

using JSON = nlohmann::json;

struct KeyRename {
    std::string_view oldKey;
    std::string_view newKey;
};

constexpr std::array keyRenames{
    KeyRename{"monitorState", "activityState"},
    KeyRename{"graphs", "modulars"},
    KeyRename{"graphID", "modularID"},
    KeyRename{"currentGraphID", "currentModularID"},
};

/// Under `key`, `oldText` is now `newText`.
struct TextRename {
    std::string_view key;
    std::string_view oldText;
    std::string_view newText;
};

constexpr std::array valueRenames{
    TextRename{"kind", "monitor", "activity"},
    TextRename{"kind", "graph", "modular"},
    TextRename{"appMode", "monitor", "activity"},
    TextRename{"appMode", "flow", "modular"},
};

/// The old text may have a number behind it, which stays.
constexpr std::array titleRenames{
    TextRename{"name", "Routing", "Studio"},
    TextRename{"title", "Routing", "Studio"},
    TextRename{"title", "Monitor", "Activity"},
};

constexpr std::array preferenceKeys{
    KeyRename{"monitor.color.noteOn", "activity.color.noteOn"},
    KeyRename{"monitor.color.noteOff", "activity.color.noteOff"},
    KeyRename{"monitor.color.cc", "activity.color.cc"},
    KeyRename{"monitor.color.programChange", "activity.color.programChange"},
    KeyRename{"monitor.color.pitchBend", "activity.color.pitchBend"},
    KeyRename{"monitor.color.aftertouch", "activity.color.aftertouch"},
    KeyRename{"monitor.color.sysEx", "activity.color.sysEx"},
    KeyRename{"monitor.color.systemCommon", "activity.color.systemCommon"},
    KeyRename{"monitor.color.systemRealTime", "activity.color.systemRealTime"},
    KeyRename{"showFlowParticles", "showModularParticles"},
};

constexpr std::array preferenceValues{
    TextRename{"defaultAppMode", "monitor", "activity"},
    TextRename{"defaultAppMode", "flow", "modular"},
};

/// Nothing, or white space and then digits.
bool isNumberSuffix(std::string_view rest) {
    if (rest.empty()) return true;
    const std::size_t digits = rest.find_first_not_of(" \t\n\v\f\r");
    return digits != 0 && digits != std::string_view::npos &&
           rest.find_first_not_of("0123456789", digits) == std::string_view::npos;
}

bool renameText(std::string_view key, std::string& text) {
    for (const TextRename& rename : valueRenames)
        if (key == rename.key && text == rename.oldText) {
            text = rename.newText;
            return true;
        }
    for (const TextRename& rename : titleRenames)
        if (key == rename.key && text.starts_with(rename.oldText) &&
            isNumberSuffix(std::string_view(text).substr(rename.oldText.size()))) {
            text.replace(0, rename.oldText.size(), rename.newText);
            return true;
        }
    return false;
}

/// Where both names of a key stand, today's one counts.
bool renameKeys(JSON& object) {
    bool isChanged = false;
    for (const KeyRename& rename : keyRenames) {
        const auto old = object.find(rename.oldKey);
        if (old == object.end()) continue;
        JSON value = std::move(*old);
        object.erase(old);
        object.emplace(rename.newKey, std::move(value));
        isChanged = true;
    }
    return isChanged;
}

bool walk(JSON& value) {
    bool isChanged = false;
    if (value.is_array())
        for (JSON& element : value) isChanged |= walk(element);
    if (!value.is_object()) return isChanged;
    for (auto& [key, member] : value.get_ref<JSON::object_t&>())
        isChanged |= member.is_string() ? renameText(key, member.get_ref<std::string&>()) : walk(member);
    return renameKeys(value) || isChanged;
}

}  // namespace

std::string LegacyDocumentMigrator::migrate(std::string_view data) {
    try {
        JSON value = parseBoundedJSON(data);
        if (!migrate(value)) return std::string(data);
        std::string migrated = value.dump();
        report(data.size(), migrated.size());
        return migrated;
    } catch (const DocumentError&) {
        return std::string(data);
    }
}

void LegacyDocumentMigrator::report(std::size_t bytesBefore, std::size_t bytesAfter) {
    if (bytesBefore == bytesAfter) return;
    VarnolexLogger::shared().log("Migrated legacy document: " + std::to_string(bytesBefore) + " → " +
                                 std::to_string(bytesAfter) + " bytes");
}

bool LegacyDocumentMigrator::migrate(JSON& value) { return value.is_object() && walk(value); }

void LegacyDocumentMigrator::migrateUserDefaults(DefaultsStore& defaults) {
    for (const auto& [oldKey, newKey] : preferenceKeys) {
        const auto value = defaults.json(oldKey);
        if (!value) continue;
        if (!defaults.json(newKey)) {
            defaults.setJSON(newKey, *value);
            VarnolexLogger::shared().log("Migrated UserDefaults key: " + std::string(oldKey) + " → " +
                                         std::string(newKey));
        }
        defaults.remove(oldKey);
    }
    for (const auto& [key, oldText, newText] : preferenceValues) {
        if (defaults.string(key) != std::optional<std::string>(oldText)) continue;
        defaults.setString(key, newText);
        VarnolexLogger::shared().log("Migrated defaultAppMode: " + std::string(oldText) + " → " + std::string(newText));
    }
}

}  // namespace varnolex
