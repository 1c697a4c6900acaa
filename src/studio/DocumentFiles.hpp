#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>

#include "studio/DocumentLoader.hpp"
#include "studio/ModularDocument.hpp"

namespace varnolex {

class DefaultsStore;
class SupportFolder;

inline constexpr std::string_view documentExtension = ".varnolex";
inline constexpr std::string_view patchExtension = ".vxpatch";
inline constexpr std::string_view stateFileName = "state.varnolex";
inline constexpr std::string_view initTemplateFileName = "init.varnolex";
/// Where the user's defaults keep the path of the document that was last saved or opened.
inline constexpr std::string_view lastSavedFileKey = "lastSavedFileURL";

// Files of our format. Main thread; what is written is written whole or not at all.

/// Throws `FileError`, or `DocumentError` with the path ahead of the place.
ModularDocument readDocumentFile(const std::filesystem::path& path);

/// Throws `FileError`.
void writeDocumentFile(const ModularDocument& document, const std::filesystem::path& path);

/// The engine's graphs as a document with these tabs. `selectedTabIndex` counts only when it is one of them; the
/// document's own activity state is the selected tab's.
ModularDocument composeDocument(const ModularEngine& engine, std::vector<ModularDocument::TabSpec> tabs,
                                std::optional<std::size_t> selectedTabIndex, std::optional<UUID> currentModularID);

/// Writes the document and remembers its path. Throws `FileError`, with nothing remembered.
void saveDocument(const ModularDocument& document, const std::filesystem::path& path, DefaultsStore& defaults);

/// Writes the session's safety copy. A failure is logged and changes nothing for the caller.
void saveState(const ModularDocument& document, SupportFolder& folder);

/// Makes the document the template of new ones. Throws `FileError`.
void saveInitTemplate(const ModularDocument& document, SupportFolder& folder);

/// Nothing when there is no template; also when it can't be read, which is logged.
std::optional<ModularDocument> loadInitTemplate(SupportFolder& folder);

/// The name under which a patch is written: with its extension behind it, unless that stands there in any case.
std::filesystem::path patchPath(const std::filesystem::path& chosen);

/// Writes the graph alone, at `patchPath(chosen)`, and returns that. Throws `FileError`.
std::filesystem::path exportPatch(const Modular& modular, const std::filesystem::path& chosen);

struct ImportedPatch {
    std::shared_ptr<Modular> modular;
    DocumentFindings findings;
};

/// Adds the first graph of a file to the engine, with fresh ids, started and bound. No graph when the file holds
/// none. Throws as `readDocumentFile` does, with the engine as it was.
ImportedPatch importPatch(const std::filesystem::path& path, ModularEngine& engine, VirtualPortManager* ports);

}  // namespace varnolex
