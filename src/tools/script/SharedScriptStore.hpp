#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/concurrency/Guarded.hpp"
#include "platform/script/ScriptValue.hpp"

namespace varnolex {

/// What all scripts of the program share, whatever their language. Any thread.
class SharedScriptStore {
public:
    /// What keys and texts may take in all, in bytes.
    static constexpr std::size_t limit = std::size_t{16} << 20;

    static SharedScriptStore& globalStore();

    std::optional<ScriptValue> get(std::string_view key) const;

    /// Without a value the key goes. False when the store is full.
    bool set(std::string_view key, std::optional<ScriptValue> value);

private:
    struct Content {
        std::map<std::string, ScriptValue, std::less<>> values;
        std::size_t size = 0;
    };
    Guarded<Content> content;
};

}  // namespace varnolex
