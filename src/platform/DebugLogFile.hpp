#pragma once

#include <filesystem>
#include <memory>

#include "platform/Runtime.hpp"

namespace varnolex {

/// The debug log of a live session: all lines of `VarnolexLogger`, its notes included, in a file that is begun anew
/// with the first of them. They are written on a queue of its own, so nobody waits for the disk, and every file error
/// is ignored. The file stays within `sizeLimit`. Main thread; one at a time.
class DebugLogFile {
public:
    /// Bytes.
    static constexpr std::size_t sizeLimit = 16 * 1024 * 1024;

    /// "/tmp/varnolex_debug.log".
    static std::filesystem::path usualPath();

    explicit DebugLogFile(std::filesystem::path path);
    /// Writes what is pending.
    ~DebugLogFile();
    DebugLogFile(const DebugLogFile&) = delete;
    DebugLogFile& operator=(const DebugLogFile&) = delete;

private:
    class Writer;

    std::shared_ptr<Writer> writer;
    std::shared_ptr<Queue> queue;
};

}  // namespace varnolex
