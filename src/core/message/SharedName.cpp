#include "core/message/SharedName.hpp"

#include <unordered_set>

#include "platform/concurrency/Guarded.hpp"

namespace varnolex {

namespace {

struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
};

/// A node-based set, so that a text keeps its place while the set grows.
using KnownNames = std::unordered_set<std::string, TextHash, std::equal_to<>>;

/// Never destroyed: messages may carry names until the last thread has ended.
Guarded<KnownNames>& knownNames() {
    static auto* const names = new Guarded<KnownNames>();
    return *names;
}

}  // namespace

SharedName::SharedName(std::string_view name)
    : text(knownNames().with([&](KnownNames& names) {
          const auto known = names.find(name);
          return known != names.end() ? &*known : &*names.emplace(name).first;
      })) {}

}  // namespace varnolex
