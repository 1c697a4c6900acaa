#pragma once

#include <filesystem>

#include "platform/OwnedDescriptor.hpp"

namespace varnolex {

/// Keeps the other programs of the user from changing a file between our reading and our writing, as long as it lives:
/// they wait, as this one does for them. It lies beside the file under its name with ".lock" behind, for a file that is
/// replaced whole can't be held itself. Where the folder takes no file, or for an empty path, nobody is kept out. Any
/// thread that may wait.
class FileLock {
public:
    explicit FileLock(const std::filesystem::path& file);

private:
    OwnedDescriptor lock;
};

}  // namespace varnolex
