#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace varnolex {

/// What a file is called in messages: its name, or "standard input" and "standard output" for "-".
std::string inputName(const std::string& file);
std::string outputName(const std::string& file);

/// The whole content of a file, or of standard input for "-". Throws `FileError` or `CommandFailure`.
std::string readInput(const std::string& file);

/// Writes a file whole or not at all, or straight to a device, a pipe, or standard output for "-". Throws `FileError`
/// or `CommandFailure`.
void writeOutput(const std::string& file, std::string_view bytes);

/// Takes output piece by piece.
using OutputSink = std::function<void(std::string_view)>;

/// The same for output that `produce` makes piece by piece. A file is as it was when `produce` throws.
void writeOutput(const std::string& file, const std::function<void(const OutputSink&)>& produce);

/// Throws at once what keeps a file from being written, for those who have long work ahead of that.
void requireWritable(const std::string& file);

/// ASCII letters in lower case, everything else as it is.
char lowerCased(char letter);

/// Whether the name ends in one of the endings, without regard to case. Endings are given with their dot.
bool hasEnding(const std::string& file, std::initializer_list<std::string_view> endings);

/// Whether the name says that the file is a Standard MIDI File.
bool isMIDIFileName(const std::string& file);

/// One line on standard error, behind the program's name.
void tellUser(std::string_view sentence);

}  // namespace varnolex
