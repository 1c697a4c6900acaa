#include "platform/keys/MemoryKeys.hpp"

namespace varnolex {
namespace {

/// A render may go on for as long as it likes.
constexpr std::size_t mostKept = 4096;

template <class Entry>
void keep(std::vector<Entry>& entries, Entry entry) {
    if (entries.size() >= mostKept) entries.erase(entries.begin(), entries.begin() + mostKept / 2);
    entries.push_back(std::move(entry));
}

}  // namespace

bool MemoryKeys::post(const KeyEvent& key) {
    if (isBroken) return false;
    keep(posted, key);
    return true;
}

void MemoryKeys::note(std::string_view line) { keep(lines, std::string(line)); }

}  // namespace varnolex
