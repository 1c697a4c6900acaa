#include "studio/BoundedJSON.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "studio/DocumentError.hpp"

namespace varnolex {
namespace {

using JSON = nlohmann::json;

/// Builds a value from the parser's events, so that a nesting too deep is seen before it is built.
class Builder final : public nlohmann::json_sax<JSON> {
public:
    JSON root;
    /// Why the parser stopped, and behind how many bytes if the parser tells.
    std::string reason;
    std::optional<std::size_t> offset;

    bool null() override { return add(nullptr); }
    bool boolean(bool value) override { return add(value); }
    bool number_integer(number_integer_t value) override { return add(value); }
    bool number_unsigned(number_unsigned_t value) override { return add(value); }
    bool number_float(number_float_t value, const string_t&) override { return add(value); }
    bool string(string_t& value) override { return add(std::move(value)); }
    bool binary(binary_t&) override { return false; }

    bool start_object(std::size_t) override { return open(JSON::object()); }
    bool end_object() override { return close(); }
    bool start_array(std::size_t) override { return open(JSON::array()); }
    bool end_array() override { return close(); }

    bool key(string_t& name) override {
        member = &(*containers.back())[std::move(name)];
        return true;
    }

    bool parse_error(std::size_t position, const std::string&, const nlohmann::detail::exception& fault) override {
        constexpr int numberOverflow = 406;
        offset = position;
        reason = fault.id == numberOverflow ? "a number is too large" : "this is not JSON";
        return false;
    }

private:
    template <class Value>
    bool add(Value&& value) {
        place() = JSON(std::forward<Value>(value));
        return true;
    }

    bool open(JSON container) {
        if (containers.size() == static_cast<std::size_t>(deepestJSON)) {
            reason = "nested deeper than " + std::to_string(deepestJSON) + " levels";
            return false;
        }
        JSON& opened = place();
        opened = std::move(container);
        containers.push_back(&opened);
        return true;
    }

    bool close() {
        containers.pop_back();
        return true;
    }

    /// Where the next value belongs. An array doesn't grow while something inside it is open, so the places on the
    /// way down stay where they are.
    JSON& place() {
        if (containers.empty()) return root;
        if (containers.back()->is_object()) return *member;
        containers.back()->push_back(nullptr);
        return containers.back()->back();
    }

    std::vector<JSON*> containers;
    JSON* member = nullptr;
};

std::string placeOf(std::string_view text, std::size_t offset) {
    const std::string_view before = text.substr(0, std::min(offset > 0 ? offset - 1 : 0, text.size()));
    const auto lines = std::count(before.begin(), before.end(), '\n');
    const std::size_t lineStart = before.rfind('\n') + 1;
    return "line " + std::to_string(lines + 1) + ", column " + std::to_string(before.size() - lineStart + 1);
}

}  // namespace

JSON parseBoundedJSON(std::string_view text) {
    Builder builder;
    if (JSON::sax_parse(text.begin(), text.end(), &builder)) return std::move(builder.root);
    throw DocumentError((builder.offset ? placeOf(text, *builder.offset) + ": " : std::string()) + builder.reason);
}

std::optional<std::int64_t> integerIn(const JSON& value) {
    using Limits = std::numeric_limits<std::int64_t>;
    if (value.is_number_unsigned()) {
        const auto number = value.get<std::uint64_t>();
        if (number > static_cast<std::uint64_t>(Limits::max())) return std::nullopt;
        return static_cast<std::int64_t>(number);
    }
    if (value.is_number_integer()) return value.get<std::int64_t>();
    if (!value.is_number_float()) return std::nullopt;
    // 2^63 itself is already too large; its negative fits.
    constexpr double beyond = 9223372036854775808.0;
    const auto number = value.get<double>();
    if (number != std::trunc(number) || number < -beyond || number >= beyond) return std::nullopt;
    return static_cast<std::int64_t>(number);
}

}  // namespace varnolex
