#include "platform/WholeFile.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <optional>
#include <system_error>
#include <utility>

namespace varnolex {

namespace {

namespace fs = std::filesystem;

class OpenFile {
public:
    explicit OpenFile(int opened) : number(opened) {}
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile() {
        if (number >= 0) ::close(number);
    }

    int descriptor() const { return number; }
    int close() { return ::close(std::exchange(number, -1)); }

private:
    int number;
};

/// Removes a file unless it has found its place.
struct Temporary {
    ~Temporary() {
        if (!path.empty()) ::unlink(path.c_str());
    }
    fs::path path;
};

fs::path targetOf(fs::path path) {
    constexpr int mostLinks = 40;
    const fs::path asked = path;
    std::error_code error;
    for (int links = 0; fs::is_symlink(path, error); ++links) {
        if (links == mostLinks) throw FileError(asked, ELOOP);
        const fs::path next = fs::read_symlink(path, error);
        if (error) throw FileError(asked, error.value());
        path = path.parent_path() / next;
    }
    return path;
}

/// What is to be replaced, if it is there and may be.
std::optional<struct stat> replaceableFile(const fs::path& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        if (errno != ENOENT) throw FileError(path, errno);
        return std::nullopt;
    }
    if (S_ISDIR(status.st_mode)) throw FileError(path, EISDIR);
    if (!S_ISREG(status.st_mode)) throw FileError(path, "isn't a regular file");
    if (::access(path.c_str(), W_OK) != 0) throw FileError(path, errno);
    return status;
}

/// Makes an empty file beside `target`, with the mode of any new file.
int makeBeside(const fs::path& target, fs::path& made) {
    constexpr int mostAttempts = 10'000;
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        // The name is short and not the target's, which may be as long as a name can be.
        made =
            target.parent_path() / (".varnolex-" + std::to_string(::getpid()) + "-" + std::to_string(attempt) + ".tmp");
        const int descriptor = ::open(made.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor >= 0) return descriptor;
        if (errno != EEXIST) break;
    }
    made.clear();
    throw FileError(target, errno);
}

void writeAll(int descriptor, std::string_view bytes, const fs::path& path) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) throw FileError(path, errno);
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

/// Makes a rename last. Some file systems can't; the file is whole even so.
void flushFolder(const fs::path& file) {
    const fs::path folder = file.has_parent_path() ? file.parent_path() : fs::path(".");
    const OpenFile opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened.descriptor() >= 0) ::fsync(opened.descriptor());
}

}  // namespace

FileError::FileError(const fs::path& path, const std::string& reason)
    : std::runtime_error(path.string() + ": " + reason) {}

FileError::FileError(const fs::path& path, int code)
    : std::runtime_error(path.string() + ": " + std::generic_category().message(code)), missing(code == ENOENT) {}

struct WholeFileWriter::Implementation {
    explicit Implementation(const fs::path& path)
        : target(targetOf(path)), former(replaceableFile(target)), file(makeBeside(target, temporary.path)) {}

    const fs::path target;
    const std::optional<struct stat> former;
    Temporary temporary;
    OpenFile file;
};

WholeFileWriter::WholeFileWriter(const fs::path& path) : implementation(std::make_unique<Implementation>(path)) {}

WholeFileWriter::~WholeFileWriter() = default;

void WholeFileWriter::write(std::string_view bytes) {
    writeAll(implementation->file.descriptor(), bytes, implementation->target);
}

void WholeFileWriter::commit() {
    auto& [target, former, temporary, file] = *implementation;
    if (former) {
        // Only a privileged process can give a file away; for others the owner is the writer. The owner comes first,
        // since a change of owner takes the set-id bits off.
        [[maybe_unused]] const int owned = ::fchown(file.descriptor(), former->st_uid, former->st_gid);
        if (::fchmod(file.descriptor(), former->st_mode & 07777) != 0) throw FileError(target, errno);
    }
    if (::fsync(file.descriptor()) != 0 || file.close() != 0) throw FileError(target, errno);
    if (::rename(temporary.path.c_str(), target.c_str()) != 0) throw FileError(target, errno);
    temporary.path.clear();
    flushFolder(target);
}

void writeWholeFile(const fs::path& path, std::string_view bytes) {
    WholeFileWriter writer(path);
    writer.write(bytes);
    writer.commit();
}

std::string readWholeFile(const fs::path& path, std::size_t maxBytes) {
    const OpenFile file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    if (file.descriptor() < 0 || ::fstat(file.descriptor(), &status) != 0) throw FileError(path, errno);
    if (S_ISDIR(status.st_mode)) throw FileError(path, EISDIR);
    const auto tooLarge = [&] {
        return FileError(path, "is too large: more than " + std::to_string(maxBytes) + " bytes");
    };
    const auto expected = S_ISREG(status.st_mode) ? static_cast<std::size_t>(status.st_size) : 0;
    if (expected > maxBytes) throw tooLarge();

    std::string bytes;
    std::size_t size = 0;
    for (;;) {
        // One byte of room behind the expected end lets the read that finds it find the end as well.
        if (size == bytes.size()) bytes.resize(std::max({expected + 1, size * 2, std::size_t{4096}}));
        const ssize_t count = ::read(file.descriptor(), bytes.data() + size, bytes.size() - size);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw FileError(path, errno);
        if (count == 0) break;
        size += static_cast<std::size_t>(count);
        if (size > maxBytes) throw tooLarge();
    }
    bytes.resize(size);
    return bytes;
}

}  // namespace varnolex
