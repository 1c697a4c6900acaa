#include "platform/DefaultsStore.hpp"

#include <cmath>
#include <limits>
#include <stdexcept>
#include <system_error>

#include <nlohmann/json.hpp>

#include "platform/UserFolders.hpp"
#include "platform/VarnolexLogger.hpp"
#include "platform/WholeFile.hpp"

namespace varnolex {

namespace {

using Json = nlohmann::json;

constexpr std::size_t mostBytes = 16 << 20;
constexpr int mostLevels = 64;

/// Throws `std::exception` with the place of the fault.
Json parse(std::string_view text) {
    return Json::parse(text, [](int depth, Json::parse_event_t, Json&) {
        if (depth > mostLevels) throw std::invalid_argument("nested too deeply");
        return true;
    });
}

std::string textOf(const Json& value, int indent = -1) {
    return value.dump(indent, ' ', false, Json::error_handler_t::replace);
}

void report(const std::string& text) { VarnolexLogger::shared().error(text); }

}  // namespace

class DefaultsStore::Values {
public:
    const Json* find(std::string_view key) const {
        const auto found = object.find(key);
        return found == object.end() ? nullptr : &*found;
    }

    Json object = Json::object();
};

DefaultsStore::DefaultsStore(std::filesystem::path file) : path(std::move(file)), values(std::make_unique<Values>()) {
    if (!path.empty()) load();
}

DefaultsStore::~DefaultsStore() = default;

std::filesystem::path DefaultsStore::userFile() { return userConfigurationFolder() / "varnolex" / "defaults.json"; }

std::optional<bool> DefaultsStore::boolean(std::string_view key) const {
    const Json* value = values->find(key);
    return value && value->is_boolean() ? std::optional(value->get<bool>()) : std::nullopt;
}

std::optional<std::int64_t> DefaultsStore::integer(std::string_view key) const {
    const Json* value = values->find(key);
    if (!value || !value->is_number_integer()) return std::nullopt;
    constexpr auto highest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (value->is_number_unsigned() && value->get<std::uint64_t>() > highest) return std::nullopt;
    return value->get<std::int64_t>();
}

std::optional<double> DefaultsStore::real(std::string_view key) const {
    const Json* value = values->find(key);
    return value && value->is_number() ? std::optional(value->get<double>()) : std::nullopt;
}

std::optional<std::string> DefaultsStore::string(std::string_view key) const {
    const Json* value = values->find(key);
    return value && value->is_string() ? std::optional(value->get<std::string>()) : std::nullopt;
}

std::optional<std::string> DefaultsStore::json(std::string_view key) const {
    const Json* value = values->find(key);
    return value ? std::optional(textOf(*value)) : std::nullopt;
}

template <class Value>
void DefaultsStore::set(std::string_view key, Value&& value) {
    Json next(std::forward<Value>(value));
    const Json* held = values->find(key);
    // Types count: 1 and 1.0 compare equal, and are read differently.
    if (held && *held == next && held->type() == next.type()) return;
    values->object[std::string(key)] = std::move(next);
    save();
}

void DefaultsStore::setBoolean(std::string_view key, bool value) { set(key, value); }

void DefaultsStore::setInteger(std::string_view key, std::int64_t value) { set(key, value); }

void DefaultsStore::setReal(std::string_view key, double value) {
    std::isfinite(value) ? set(key, value) : set(key, nullptr);
}

void DefaultsStore::setString(std::string_view key, std::string_view value) { set(key, std::string(value)); }

void DefaultsStore::setJSON(std::string_view key, std::string_view text) {
    Json value;
    try {
        value = parse(text);
    } catch (const std::exception& fault) {
        throw std::invalid_argument("the value of \"" + std::string(key) + "\" isn't JSON: " + fault.what());
    }
    set(key, std::move(value));
}

void DefaultsStore::remove(std::string_view key) {
    const auto found = values->object.find(key);
    if (found == values->object.end()) return;
    values->object.erase(found);
    save();
}

void DefaultsStore::load() {
    std::string text;
    try {
        text = readWholeFile(path, mostBytes);
    } catch (const FileError& fault) {
        isWritable = fault.isMissing();
        if (!isWritable) report(std::string(fault.what()) + "; changes of the defaults aren't kept");
        return;
    }
    isWritable = true;
    try {
        Json read = parse(text);
        if (!read.is_object()) return keepAside("isn't a JSON object");
        values->object = std::move(read);
    } catch (const std::exception& fault) {
        keepAside(fault.what());
    }
}

void DefaultsStore::keepAside(const std::string& reason) {
    std::filesystem::path aside = path;
    aside += ".broken";
    std::error_code error;
    for (int number = 2; std::filesystem::exists(aside, error); ++number) {
        aside = path;
        aside += ".broken-" + std::to_string(number);
    }
    std::filesystem::rename(path, aside, error);
    isWritable = !error;
    report(path.string() + ": " + reason + "; " +
           (error ? "changes of the defaults aren't kept" : "kept as " + aside.string()));
}

void DefaultsStore::save() {
    if (!isWritable) return;
    try {
        std::error_code error;
        std::filesystem::create_directories(path.parent_path(), error);
        writeWholeFile(path, textOf(values->object, 2) + '\n');
    } catch (const FileError& fault) {
        report(std::string(fault.what()) + "; the change of the defaults isn't kept");
    }
}

}  // namespace varnolex
