#pragma once

#include <filesystem>

#include "platform/UserFolders.hpp"

namespace varnolex {

/// The folder "Varnolex" among the user's data, where the application keeps its own files. Main thread.
class SupportFolder {
public:
    explicit SupportFolder(const std::filesystem::path& dataFolder = userDataFolder())
        : folder(dataFolder / "Varnolex") {}

    /// The folder, made with its parents when it is first asked for. When that fails the reason is logged and
    /// the path given all the same: the write that follows fails by itself, and the next call tries again.
    const std::filesystem::path& path();

private:
    std::filesystem::path folder;
    bool isMade = false;
};

}  // namespace varnolex
