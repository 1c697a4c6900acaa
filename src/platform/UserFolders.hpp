#pragma once

#include <filesystem>

namespace varnolex {

/// The user's home folder; the root folder for a user who has none.
std::filesystem::path homeFolder();

/// Where programs keep the user's settings: $XDG_CONFIG_HOME, else ~/.config.
std::filesystem::path userConfigurationFolder();

/// Where programs keep the user's data: $XDG_DATA_HOME, else ~/.local/share.
std::filesystem::path userDataFolder();

}  // namespace varnolex
