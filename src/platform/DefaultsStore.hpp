#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace varnolex {

/// The user's defaults: values by key in one JSON file, read once and written whole after each change. A value of
/// another type than the one asked for reads as absent. Nothing here throws for the file's sake: a file that can't be
/// understood is moved aside, one that can't be read is left alone, and both are logged. Main thread.
class DefaultsStore {
public:
    /// An empty path keeps the values in memory only.
    explicit DefaultsStore(std::filesystem::path file);
    ~DefaultsStore();

    /// `varnolex/defaults.json` among the user's settings.
    static std::filesystem::path userFile();

    std::optional<bool> boolean(std::string_view key) const;

    /// Whole numbers only; nothing for one outside of 64 bits.
    std::optional<std::int64_t> integer(std::string_view key) const;

    /// Any number.
    std::optional<double> real(std::string_view key) const;

    std::optional<std::string> string(std::string_view key) const;

    /// The JSON text of a value of any type.
    std::optional<std::string> json(std::string_view key) const;

    void setBoolean(std::string_view key, bool value);
    void setInteger(std::string_view key, std::int64_t value);

    /// A value that isn't finite has no JSON form and is stored as null, which reads as absent.
    void setReal(std::string_view key, double value);

    /// Bytes that aren't UTF-8 are replaced.
    void setString(std::string_view key, std::string_view value);

    /// Throws `std::invalid_argument` when `text` isn't JSON or nests deeper than 64 levels.
    void setJSON(std::string_view key, std::string_view text);

    void remove(std::string_view key);

private:
    class Values;

    void load();
    void keepAside(const std::string& reason);
    void save();
    template <class Value>
    void set(std::string_view key, Value&& value);

    std::filesystem::path path;
    std::unique_ptr<Values> values;
    bool isWritable = false;
};

}  // namespace varnolex
