#include "platform/ports/PortFolder.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>
#include <utility>

namespace varnolex {

namespace {

std::string reasonOf(int code) { return std::generic_category().message(code); }

/// The address of a socket in an open folder. The way over the descriptor is short wherever the folder lies, and leads
/// to the folder that was looked at, whatever its path means by now.
sockaddr_un addressIn(int folder, const std::string& name) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "/proc/self/fd/%d/%s", folder, name.c_str());
    return address;
}

std::string lockNameOf(const std::string& name) { return name + ".lock"; }

bool isStillThere(int file, int folder, const std::string& name) {
    struct stat opened {};
    struct stat found {};
    return ::fstat(file, &opened) == 0 && ::fstatat(folder, name.c_str(), &found, AT_SYMLINK_NOFOLLOW) == 0 &&
           opened.st_ino == found.st_ino && opened.st_dev == found.st_dev;
}

}  // namespace

std::filesystem::path PortFolder::usualPath() {
    const char* const variable = std::getenv("XDG_RUNTIME_DIR");
    const std::filesystem::path runtime = variable ? variable : "";
    if (runtime.is_absolute()) return runtime / "varnolex";
    return "/tmp/varnolex-" + std::to_string(::geteuid());
}

PortFolder PortFolder::open(const std::filesystem::path& path, bool mayMake, std::string& failure) {
    PortFolder opened;
    if (mayMake && ::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
        failure = path.string() + ": " + reasonOf(errno);
        return opened;
    }
    OwnedDescriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (!folder || ::fstat(folder.get(), &status) != 0) {
        failure = path.string() + ": " + reasonOf(errno);
    } else if (status.st_uid != ::geteuid()) {
        failure = path.string() + ": belongs to another user";
    } else if ((status.st_mode & 077) != 0 && ::fchmod(folder.get(), 0700) != 0) {
        failure = path.string() + ": is open to other users: " + reasonOf(errno);
    } else {
        opened.folder = std::move(folder);
    }
    return opened;
}

OwnedDescriptor PortFolder::lockName(const std::string& name, std::string& failure) const {
    constexpr int mostAttempts = 100;
    const std::string lockFile = lockNameOf(name);
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        OwnedDescriptor lock(::openat(folder.get(), lockFile.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
        if (!lock) {
            failure = lockFile + ": " + reasonOf(errno);
            return lock;
        }
        if (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
            failure = errno == EWOULDBLOCK ? name + ": another program has this port" : name + ": " + reasonOf(errno);
            return OwnedDescriptor();
        }
        // Its former owner may have removed the file between the two steps: then the lock keeps nobody out.
        if (isStillThere(lock.get(), folder.get(), lockFile)) return lock;
    }
    failure = name + ": another program has this port";
    return OwnedDescriptor();
}

PortFolder::Listener PortFolder::listen(const std::string& name, std::string& failure) const {
    constexpr int mostWaiting = 16;
    Listener made;
    OwnedDescriptor lock = lockName(name, failure);
    if (!lock) return made;
    OwnedDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const sockaddr_un address = addressIn(folder.get(), name);
    ::unlinkat(folder.get(), name.c_str(), 0);
    if (!socket || ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(socket.get(), mostWaiting) != 0) {
        failure = name + ": " + reasonOf(errno);
        ::unlinkat(folder.get(), lockNameOf(name).c_str(), 0);
        return made;
    }
    made.lock = std::move(lock);
    made.socket = std::move(socket);
    return made;
}

void PortFolder::remove(const std::string& name) const {
    ::unlinkat(folder.get(), name.c_str(), 0);
    ::unlinkat(folder.get(), lockNameOf(name).c_str(), 0);
}

OwnedDescriptor PortFolder::connect(const std::string& name) const {
    OwnedDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socket) return socket;
    // A listener that takes nobody in any more would hold the call up for ever.
    const timeval longest{.tv_sec = 1, .tv_usec = 0};
    ::setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &longest, sizeof longest);
    const sockaddr_un address = addressIn(folder.get(), name);
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        !isOwnPeer(socket.get()) || ::fcntl(socket.get(), F_SETFL, O_NONBLOCK) != 0)
        socket.reset();
    return socket;
}

bool PortFolder::isOwnPeer(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == ::geteuid();
}

}  // namespace varnolex
