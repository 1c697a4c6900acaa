#include "platform/FileLock.hpp"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>

namespace varnolex {

FileLock::FileLock(const std::filesystem::path& file)
    : lock(file.empty() ? -1
                        : ::open((file.string() + ".lock").c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600)) {
    while (lock && ::flock(lock.get(), LOCK_EX) != 0 && errno == EINTR) {
    }
}

}  // namespace varnolex
