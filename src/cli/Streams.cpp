#include "cli/Streams.hpp"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

#include "cli/CommandFailure.hpp"
#include "platform/WholeFile.hpp"

namespace varnolex {
namespace {

/// Larger input is a mistake, or an attack on the machine's memory.
constexpr std::size_t largestInput = std::size_t{2} << 30;

std::string readStandardInput() {
    std::string content;
    char buffer[65536];
    for (;;) {
        const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (count == 0) return content;
        if (count < 0) {
            if (errno == EINTR) continue;
            throw CommandFailure("standard input: " + std::string(std::strerror(errno)));
        }
        content.append(buffer, static_cast<std::size_t>(count));
        if (content.size() > largestInput) throw CommandFailure("standard input: more than 2 GiB");
    }
}

/// A device or a pipe, also one behind a link such as /dev/stdout: there is nothing to replace, only to write to.
bool isDevice(const std::string& file) {
    std::error_code error;
    const auto status = std::filesystem::status(file, error);
    return std::filesystem::is_character_file(status) || std::filesystem::is_fifo(status);
}

void writeTo(std::FILE* stream, const std::string& name, const std::function<void(const OutputSink&)>& produce) {
    const auto check = [&](bool isWritten) {
        if (!isWritten) throw CommandFailure(name + ": " + std::strerror(errno));
    };
    produce([&](std::string_view piece) { check(std::fwrite(piece.data(), 1, piece.size(), stream) == piece.size()); });
    check(std::fflush(stream) == 0);
}

void writeDevice(const std::string& file, const std::function<void(const OutputSink&)>& produce) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(file.c_str(), "we"), std::fclose);
    if (!stream) throw FileError(file, errno);
    writeTo(stream.get(), file, produce);
}

}  // namespace

std::string inputName(const std::string& file) { return file == "-" ? "standard input" : file; }

std::string outputName(const std::string& file) { return file == "-" ? "standard output" : file; }

std::string readInput(const std::string& file) {
    return file == "-" ? readStandardInput() : readWholeFile(file, largestInput);
}

void writeOutput(const std::string& file, std::string_view bytes) {
    writeOutput(file, [bytes](const OutputSink& sink) { sink(bytes); });
}

void writeOutput(const std::string& file, const std::function<void(const OutputSink&)>& produce) {
    if (file == "-") return writeTo(stdout, outputName(file), produce);
    if (isDevice(file)) return writeDevice(file, produce);
    WholeFileWriter writer(file);
    produce([&writer](std::string_view piece) { writer.write(piece); });
    writer.commit();
}

void requireWritable(const std::string& file) {
    if (file != "-" && !isDevice(file)) const WholeFileWriter attempt(file);
}

char lowerCased(char letter) { return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter; }

bool hasEnding(const std::string& file, std::initializer_list<std::string_view> endings) {
    return std::ranges::any_of(endings, [&](std::string_view ending) {
        return file.size() >= ending.size() &&
               std::ranges::equal(std::string_view(file).substr(file.size() - ending.size()), ending, {}, lowerCased);
    });
}

bool isMIDIFileName(const std::string& file) { return hasEnding(file, {".mid", ".midi", ".smf"}); }

void tellUser(std::string_view sentence) {
    std::fprintf(stderr, "varnolex: %.*s\n", static_cast<int>(sentence.size()), sentence.data());
}

}  // namespace varnolex
