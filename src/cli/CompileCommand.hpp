#pragma once

#include <optional>
#include <string>

namespace varnolex {

struct CompileOptions {
    std::string file = "-";
    /// The text itself, in place of a file.
    std::optional<std::string> text;
    /// A patch file to write in place of JSON on standard output.
    std::optional<std::string> output;
};

/// Compiles patch language text. Throws `CommandFailure`, `UsageError` or the error of a file.
void runCompile(const CompileOptions& options);

}  // namespace varnolex
