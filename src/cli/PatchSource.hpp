#pragma once

#include <memory>
#include <optional>
#include <string>

#include "language/DSLCompiler.hpp"
#include "language/PatchBuilder.hpp"
#include "studio/DocumentFindings.hpp"
#include "studio/ModularEngine.hpp"

namespace varnolex {

/// The graph that the user asks for.
struct PatchChoice {
    /// A document, a patch file, or a text in the patch language.
    std::string file;
    /// The text itself, in place of a file.
    std::optional<std::string> text;
    /// Which graph of a document; the current one without a name.
    std::optional<std::string> studio;
};

/// Builds the graph in the engine and starts it, with no endpoint bound. Tells the user, on standard error, which
/// kinds this build has no tool for. Throws `CommandFailure` with the file and the place.
std::shared_ptr<Modular> loadPatch(const PatchChoice& choice, ModularEngine& engine);

/// Presses Start on every clock and every generator of a started graph.
void pressStart(const Modular& modular);

/// Tells the user what of a document couldn't be kept. `name` is what messages call the document.
void tellFindings(const DocumentFindings& findings, const std::string& name);

/// A text in the patch language as the lists that it compiles to. Throws `CommandFailure`.
DSLCompiler compileText(const std::string& text, const std::string& name);

/// A text in the patch language as a graph that is in no engine yet. `name` is what messages call the text. Throws
/// `CommandFailure`.
BuiltPatch compilePatchText(const std::string& text, const std::string& name);

}  // namespace varnolex
