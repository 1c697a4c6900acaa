#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace varnolex {

/// A file that couldn't be read or written. `what()` is "PATH: reason".
class FileError : public std::runtime_error {
public:
    FileError(const std::filesystem::path& path, const std::string& reason);

    /// `code` is an `errno`.
    FileError(const std::filesystem::path& path, int code);

    /// True when there is no such file.
    bool isMissing() const { return missing; }

private:
    bool missing = false;
};

/// Writes a file in pieces that takes its place whole or not at all: whoever opens it finds the old content or the new
/// one, even after a crash. An existing file keeps its mode; a symbolic link stays and its target is written. The
/// target has to be a regular file, or not be there yet. Throws `FileError`. Any thread that may wait for the disk.
class WholeFileWriter {
public:
    explicit WholeFileWriter(const std::filesystem::path& path);
    /// What wasn't committed is gone.
    ~WholeFileWriter();
    WholeFileWriter(const WholeFileWriter&) = delete;
    WholeFileWriter& operator=(const WholeFileWriter&) = delete;

    void write(std::string_view bytes);

    /// Once, behind the last `write`.
    void commit();

private:
    struct Implementation;
    std::unique_ptr<Implementation> implementation;
};

/// Writes a file with these bytes, as the writer does.
void writeWholeFile(const std::filesystem::path& path, std::string_view bytes);

/// The bytes of a file, or of a pipe to its end. Throws `FileError`, also for a directory and for more than
/// `maxBytes`.
std::string readWholeFile(const std::filesystem::path& path, std::size_t maxBytes);

}  // namespace varnolex
