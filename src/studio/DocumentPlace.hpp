#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "platform/UUID.hpp"

namespace varnolex {

/// A value inside a document, with the way that led there, which an error names. A place refers to the one it was
/// reached from: it is for reading on the way down, and not to be kept.
class DocumentPlace {
public:
    explicit DocumentPlace(const nlohmann::json& rootValue) : value(rootValue) {}

    // Members of an object. Null counts as absent. All throw `DocumentError` when the value isn't what it has to be.

    DocumentPlace required(std::string_view wanted) const;

    /// What `read(place)` makes of a member; nothing when it is absent.
    template <class Read>
    auto optional(std::string_view wanted, Read&& read) const -> std::optional<decltype(read(*this))> {
        const nlohmann::json* found = member(wanted);
        if (!found) return std::nullopt;
        return read(DocumentPlace(*found, this, wanted, 0));
    }

    /// What `read(place)` makes of each element of an array.
    template <class Read>
    auto list(Read&& read) const -> std::vector<decltype(read(*this))> {
        const std::size_t size = listSize();
        std::vector<decltype(read(*this))> elements;
        elements.reserve(size);
        for (std::size_t at = 0; at < size; ++at) elements.push_back(read(element(at)));
        return elements;
    }

    /// Calls `read(name, place)` for each member.
    template <class Read>
    void eachMember(Read&& read) const {
        for (const std::string& each : memberNames()) read(each, required(each));
    }

    const std::string& text() const;
    UUID uuid() const;
    bool boolean() const;
    double real() const;
    /// The bytes of a Base64 text.
    std::string binary() const;
    std::int64_t integer(std::int64_t low, std::int64_t high) const;

    template <class Integer>
    Integer integer() const {
        using Limits = std::numeric_limits<Integer>;
        return static_cast<Integer>(integer(Limits::min(), Limits::max()));
    }

private:
    DocumentPlace(const nlohmann::json& placeValue, const DocumentPlace* from, std::string_view memberName,
                  std::size_t elementIndex)
        : value(placeValue), parent(from), name(memberName), index(elementIndex) {}

    const nlohmann::json* member(std::string_view wanted) const;
    std::vector<std::string> memberNames() const;
    std::size_t listSize() const;
    DocumentPlace element(std::size_t at) const;
    std::string path() const;
    [[noreturn]] void refuse(std::string_view fault) const;

    const nlohmann::json& value;
    const DocumentPlace* parent = nullptr;
    /// Empty for an element of an array.
    std::string_view name;
    std::size_t index = 0;
};

}  // namespace varnolex
