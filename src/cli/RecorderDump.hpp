#pragma once

#include <string>

namespace varnolex {

/// Whether the name says that the file is one of the flight recorder.
bool isRecorderFileName(const std::string& file);

/// Prints the records of a flight recorder's file, oldest first, one a line. Throws `CommandFailure` for a file that is
/// none, and `FileError`.
void dumpRecorder(const std::string& file, bool json);

}  // namespace varnolex
