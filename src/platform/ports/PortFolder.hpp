#pragma once

#include <filesystem>
#include <string>

#include "platform/OwnedDescriptor.hpp"

namespace varnolex {

/// The folder in which the sockets of the user's programs lie, private to the user: nobody else may look inside.
class PortFolder {
public:
    /// $XDG_RUNTIME_DIR/varnolex, else a folder of the user's own in /tmp.
    static std::filesystem::path usualPath();

    /// Opens the folder; `mayMake` makes it if it isn't there. Empty when that fails, or when the folder isn't the
    /// user's own, with the reason in `failure`.
    static PortFolder open(const std::filesystem::path& path, bool mayMake, std::string& failure);

    explicit operator bool() const { return bool(folder); }

    /// A socket that listens under the name, and the lock that keeps the name for this program: what a program that
    /// died has left is removed, what a living one has is refused. Empty, with a `failure`, when there is none.
    struct Listener {
        OwnedDescriptor lock{};
        OwnedDescriptor socket{};
    };
    Listener listen(const std::string& name, std::string& failure) const;

    /// Gives the name free while its lock is still held.
    void remove(const std::string& name) const;

    /// A socket that is connected to the program that listens under the name, and doesn't block. Empty when there is
    /// none, when it doesn't belong to the user, or when it hasn't answered within a second.
    OwnedDescriptor connect(const std::string& name) const;

    /// Whether the program at the other end of a connected socket belongs to this user.
    static bool isOwnPeer(int socket);

private:
    OwnedDescriptor lockName(const std::string& name, std::string& failure) const;

    OwnedDescriptor folder;
};

}  // namespace varnolex
