#include "endpoints/UniqueIDTable.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <limits>

#include <nlohmann/json.hpp>

#include "endpoints/UniqueID.hpp"
#include "platform/FileLock.hpp"
#include "platform/VarnolexLogger.hpp"
#include "platform/WholeFile.hpp"

namespace varnolex {

namespace {

constexpr std::size_t fileLimit = 1024 * 1024;
constexpr std::size_t entryLimit = 10'000;

}  // namespace

UniqueIDTable::UniqueIDTable(std::filesystem::path storedIn) : file(std::move(storedIn)) {}

std::int32_t UniqueIDTable::idForName(const std::string& name, const std::function<bool(std::int32_t)>& isTaken) {
    refresh();
    const auto isFree = [&](std::int32_t candidate) { return !isTaken(candidate) && !isOfAnother(candidate, name); };
    const std::int32_t usual = uniqueIDForName(name);
    if (!stored.contains(name) && isFree(usual)) return usual;
    const FileLock lock(file);
    refresh();
    const auto known = stored.find(name);
    if (known != stored.end() && !isTaken(known->second)) return known->second;
    std::int32_t candidate = usual;
    while (!isFree(candidate)) candidate = candidate == std::numeric_limits<std::int32_t>::max() ? 1 : candidate + 1;
    if (candidate == usual || known != stored.end() || stored.size() >= entryLimit) return candidate;
    stored.emplace(name, candidate);
    write();
    return candidate;
}

std::int32_t UniqueIDTable::rename(const std::string& from, const std::string& to, std::int32_t presentID,
                                   const std::function<bool(std::int32_t)>& isTaken) {
    const FileLock lock(file);
    refresh();
    const auto known = stored.find(to);
    if (known != stored.end() && (known->second == presentID || !isTaken(known->second))) return known->second;
    if (known == stored.end() && stored.size() >= entryLimit) return presentID;
    stored.erase(from);
    stored.insert_or_assign(to, presentID);
    write();
    return presentID;
}

bool UniqueIDTable::isOfAnother(std::int32_t uniqueID, const std::string& name) const {
    return std::ranges::any_of(stored,
                               [&](const auto& entry) { return entry.second == uniqueID && entry.first != name; });
}

void UniqueIDTable::refresh() {
    struct stat status {};
    if (file.empty() || ::stat(file.c_str(), &status) != 0) return;
    const std::pair found{static_cast<std::uint64_t>(status.st_ino),
                          static_cast<std::int64_t>(status.st_mtim.tv_sec) * 1'000'000'000 + status.st_mtim.tv_nsec};
    if (std::exchange(lastRead, found) == found) return;
    read();
}

void UniqueIDTable::read() {
    try {
        const auto object = nlohmann::json::parse(readWholeFile(file, fileLimit));
        stored.clear();
        for (const auto& [name, uniqueID] : object.items())
            if (stored.size() < entryLimit && uniqueID.is_number_unsigned() && uniqueID > 0 &&
                uniqueID <= std::numeric_limits<std::int32_t>::max())
                stored.emplace(name, uniqueID.get<std::int32_t>());
    } catch (const FileError& error) {
        if (!error.isMissing()) VarnolexLogger::shared().error(error.what());
    } catch (const nlohmann::json::exception& error) {
        VarnolexLogger::shared().error(file.string() + ": " + error.what());
    }
}

void UniqueIDTable::write() const {
    if (file.empty()) return;
    try {
        const nlohmann::json object = stored;
        writeWholeFile(file, object.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n");
    } catch (const FileError& error) {
        VarnolexLogger::shared().error(error.what());
    }
}

}  // namespace varnolex
