#include "tools/script/SharedScriptStore.hpp"

namespace varnolex {
namespace {

std::size_t sizeOf(std::string_view key, const ScriptValue& value) {
    std::size_t size = sizeof(ScriptValue) + key.size();
    if (const auto* text = std::get_if<std::string>(&value.held)) size += text->size();
    if (const auto* json = std::get_if<ScriptValue::Json>(&value.held)) size += json->text.size();
    return size;
}

}  // namespace

SharedScriptStore& SharedScriptStore::globalStore() {
    static SharedScriptStore store;
    return store;
}

std::optional<ScriptValue> SharedScriptStore::get(std::string_view key) const {
    return content.with([&](const Content& held) -> std::optional<ScriptValue> {
        const auto found = held.values.find(key);
        return found == held.values.end() ? std::nullopt : std::optional(found->second);
    });
}

bool SharedScriptStore::set(std::string_view key, std::optional<ScriptValue> value) {
    return content.with([&](Content& held) {
        const auto found = held.values.find(key);
        const std::size_t former = found == held.values.end() ? 0 : sizeOf(key, found->second);
        const std::size_t size = held.size - former + (value ? sizeOf(key, *value) : 0);
        if (size > limit && size > held.size) return false;
        held.size = size;
        if (!value) {
            if (found != held.values.end()) held.values.erase(found);
        } else if (found != held.values.end()) {
            std::swap(found->second, *value);
        } else {
            held.values.emplace(key, std::move(*value));
        }
        return true;
    });
}

}  // namespace varnolex
