#pragma once

#include <optional>
#include <string>

namespace varnolex {

/// Which looper of a document or patch is meant.
struct LoopChoice {
    std::string document;
    /// The name of the looper; may be left out where there is one alone.
    std::optional<std::string> node;
    /// Looks in this studio only.
    std::optional<std::string> studio;
};

/// Writes a looper's loop as a MIDI file.
void runLoopExport(const LoopChoice& choice, const std::string& output);

/// Puts a MIDI file into a looper and writes the document, to where it was read from when nothing else is said.
void runLoopImport(const LoopChoice& choice, const std::string& file, const std::optional<std::string>& output);

}  // namespace varnolex
