#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace varnolex {

/// An optional, immutable name that many messages share: one word, free to copy on any thread. Equal names are one
/// and the same text, kept to the end of the process: for names that a user or a system gives to endpoints and
/// routes, of which there are few.
class SharedName {
public:
    /// An absent name.
    constexpr SharedName() = default;

    /// Looks the name up among those known, or adds it. Takes a lock and may allocate: not on the processing road.
    explicit SharedName(std::string_view name);

    explicit operator bool() const { return text != nullptr; }

    /// The name, empty when absent.
    std::string_view view() const { return text ? std::string_view(*text) : std::string_view(); }

    /// Equal when both are absent or both are the same text.
    bool operator==(const SharedName&) const = default;

private:
    friend struct std::hash<SharedName>;
    const std::string* text = nullptr;
};

}  // namespace varnolex

template <>
struct std::hash<varnolex::SharedName> {
    std::size_t operator()(const varnolex::SharedName& name) const noexcept {
        return std::hash<const void*>()(name.text);
    }
};
