#include "endpoints/interceptor/DriverInstallation.hpp"

#include <algorithm>
#include <system_error>

#include <nlohmann/json.hpp>

#include "platform/UserFolders.hpp"
#include "platform/WholeFile.hpp"

namespace varnolex {

namespace {

namespace fs = std::filesystem;

constexpr const char* driverName = "VXDriver.plugin";
constexpr const char* driverIdentifier = "com.hol-venrik.VXDriver";
constexpr std::size_t longestInfo = 64 * 1024;

struct DriverInfo {
    std::string identifier;
    /// Empty when the driver tells none.
    std::string version;
};

struct InstalledDriver {
    fs::path path;
    std::string version;
};

std::optional<DriverInfo> infoOf(const fs::path& driver) {
    try {
        const auto read = nlohmann::json::parse(readWholeFile(driver / "Info.json", longestInfo), nullptr, false);
        if (!read.is_object()) return std::nullopt;
        const auto textAt = [&](const char* key) {
            const auto found = read.find(key);
            return found != read.end() && found->is_string() ? found->get<std::string>() : std::string();
        };
        return DriverInfo{textAt("identifier"), textAt("version")};
    } catch (const FileError&) {
        return std::nullopt;
    }
}

std::optional<InstalledDriver> installedIn(const fs::path& folder) {
    std::error_code error;
    std::vector<fs::path> candidates;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
        candidates.push_back(entry->path());
    std::sort(candidates.begin(), candidates.end());
    for (const fs::path& candidate : candidates) {
        const auto info = infoOf(candidate);
        if (info && info->identifier == driverIdentifier) return InstalledDriver{candidate, info->version};
    }
    return std::nullopt;
}

std::optional<InstalledDriver> findInstalled(const DriverFolders& folders) {
    for (const fs::path& folder : folders.installed)
        if (const auto found = installedIn(folder)) return found;
    return std::nullopt;
}

std::string reasonOf(const fs::path& path, const std::error_code& error) {
    return path.string() + ": " + error.message();
}

/// A driver is there whole or not at all, also when the disk is full halfway.
std::optional<std::string> copyDriver(const fs::path& driver, const fs::path& target) {
    std::error_code error;
    fs::path beside = target;
    beside += ".new";
    fs::remove_all(beside, error);
    fs::copy(driver, beside, fs::copy_options::recursive | fs::copy_options::copy_symlinks, error);
    if (!error) fs::rename(beside, target, error);
    if (!error) return std::nullopt;
    const std::string reason = reasonOf(target, error);
    fs::remove_all(beside, error);
    return reason;
}

}  // namespace

DriverFolders DriverFolders::ofThisSystem() {
    const fs::path inside = fs::path("varnolex") / "MIDI Drivers";
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    DriverFolders folders;
    folders.user = userDataFolder() / inside;
    folders.installed = {fs::path("/usr/lib") / inside, fs::path("/usr/local/lib") / inside, folders.user};
    folders.builtInPlugIns = program.parent_path().parent_path() / "lib" / "varnolex";
    return folders;
}

std::optional<std::string> ensureDriverInstalled(const DriverFolders& folders) {
    const auto installed = findInstalled(folders);
    const fs::path own = folders.builtInPlugIns / driverName;
    std::error_code error;
    if (!fs::is_directory(own, error)) return "The driver plugin was not found inside the app bundle.";
    const auto ownInfo = infoOf(own);
    if (!ownInfo) return "Could not read the driver plugin's info dictionary.";
    if (ownInfo->version.empty()) return "Could not read the driver plugin version.";
    if (installed && installed->version == ownInfo->version) return std::nullopt;
    if (installed && (fs::remove_all(installed->path, error), error)) return reasonOf(installed->path, error);

    fs::create_directories(folders.user, error);
    if (error || !folders.user.is_absolute()) return "Could not build a URL for the MIDI Drivers folder.";
    // The link may lead to a driver whose name is another one.
    const fs::path name = fs::canonical(own, error).filename();
    if (error || name.empty()) return "Could not determine the driver name.";
    const fs::path target = folders.user / name;
    // What lies there isn't a driver of ours, or it would have been found: it isn't ours to replace.
    if (fs::exists(fs::symlink_status(target, error)))
        return "Could not build a destination URL inside the user's MIDI Drivers folder.";
    return copyDriver(own, target);
}

}  // namespace varnolex
