#include "platform/UserFolders.hpp"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

namespace varnolex {

namespace {

/// The folder that a variable names. A relative one counts as not set: it would depend on where a program was started.
std::filesystem::path folderFrom(const char* variable) {
    const char* value = std::getenv(variable);
    std::filesystem::path folder = value ? value : "";
    return folder.is_absolute() ? folder : std::filesystem::path();
}

}  // namespace

std::filesystem::path homeFolder() {
    std::filesystem::path home = folderFrom("HOME");
    if (!home.empty()) return home;
    const passwd* user = getpwuid(getuid());
    return user && user->pw_dir && *user->pw_dir ? user->pw_dir : "/";
}

std::filesystem::path userConfigurationFolder() {
    const std::filesystem::path folder = folderFrom("XDG_CONFIG_HOME");
    return folder.empty() ? homeFolder() / ".config" : folder;
}

std::filesystem::path userDataFolder() {
    const std::filesystem::path folder = folderFrom("XDG_DATA_HOME");
    return folder.empty() ? homeFolder() / ".local" / "share" : folder;
}

}  // namespace varnolex
