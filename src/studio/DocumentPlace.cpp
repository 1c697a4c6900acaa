#include "studio/DocumentPlace.hpp"

#include <nlohmann/json.hpp>

#include "studio/Base64.hpp"
#include "studio/BoundedJSON.hpp"
#include "studio/DocumentError.hpp"

namespace varnolex {

const nlohmann::json* DocumentPlace::member(std::string_view wanted) const {
    if (!value.is_object()) refuse("expected an object");
    const auto found = value.find(wanted);
    return found == value.end() || found->is_null() ? nullptr : &*found;
}

DocumentPlace DocumentPlace::required(std::string_view wanted) const {
    static const nlohmann::json absent;
    const nlohmann::json* found = member(wanted);
    if (!found) DocumentPlace(absent, this, wanted, 0).refuse("missing");
    return {*found, this, wanted, 0};
}

std::vector<std::string> DocumentPlace::memberNames() const {
    if (!value.is_object()) refuse("expected an object");
    std::vector<std::string> names;
    for (const auto& each : value.items()) names.push_back(each.key());
    return names;
}

std::size_t DocumentPlace::listSize() const {
    if (!value.is_array()) refuse("expected a list");
    return value.size();
}

DocumentPlace DocumentPlace::element(std::size_t at) const { return {value[at], this, {}, at}; }

const std::string& DocumentPlace::text() const {
    if (!value.is_string()) refuse("expected a text");
    return value.get_ref<const std::string&>();
}

UUID DocumentPlace::uuid() const {
    const auto id = value.is_string() ? UUID::fromText(value.get_ref<const std::string&>()) : std::nullopt;
    if (!id) refuse("expected a UUID");
    return *id;
}

bool DocumentPlace::boolean() const {
    if (!value.is_boolean()) refuse("expected true or false");
    return value.get<bool>();
}

double DocumentPlace::real() const {
    if (!value.is_number()) refuse("expected a number");
    return value.get<double>();
}

std::string DocumentPlace::binary() const {
    auto bytes = value.is_string() ? bytesFromBase64(value.get_ref<const std::string&>()) : std::nullopt;
    if (!bytes) refuse("expected a Base64 text");
    return std::move(*bytes);
}

std::int64_t DocumentPlace::integer(std::int64_t low, std::int64_t high) const {
    const auto number = integerIn(value);
    if (number && *number >= low && *number <= high) return *number;
    using Limits = std::numeric_limits<std::int64_t>;
    if (low == Limits::min() && high == Limits::max()) refuse("expected an integer");
    refuse("expected an integer from " + std::to_string(low) + " to " + std::to_string(high));
}

std::string DocumentPlace::path() const {
    if (!parent) return {};
    const std::string before = parent->path();
    if (name.empty()) return before + '[' + std::to_string(index) + ']';
    return before.empty() ? std::string(name) : before + '.' + std::string(name);
}

void DocumentPlace::refuse(std::string_view fault) const {
    const std::string where = path();
    throw DocumentError((where.empty() ? std::string("the document") : where) + ": " + std::string(fault));
}

}  // namespace varnolex
