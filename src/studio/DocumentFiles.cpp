#include "studio/DocumentFiles.hpp"

#include <algorithm>

#include "platform/DefaultsStore.hpp"
#include "platform/SupportFolder.hpp"
#include "platform/VarnolexLogger.hpp"
#include "platform/WholeFile.hpp"
#include "studio/DocumentReader.hpp"
#include "studio/DocumentWriter.hpp"
#include "studio/EndpointBinding.hpp"
#include "studio/GraphSnapshot.hpp"

namespace varnolex {
namespace {

std::string lowerCased(std::string text) {
    std::ranges::transform(text, text.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
    });
    return text;
}

}  // namespace

ModularDocument readDocumentFile(const std::filesystem::path& path) {
    const std::string bytes = readWholeFile(path, documentSizeLimit);
    try {
        return DocumentReader::read(bytes);
    } catch (const DocumentError& fault) {
        throw DocumentError(path.string() + ": " + fault.what());
    }
}

void writeDocumentFile(const ModularDocument& document, const std::filesystem::path& path) {
    writeWholeFile(path, DocumentWriter::write(document));
}

ModularDocument composeDocument(const ModularEngine& engine, std::vector<ModularDocument::TabSpec> tabs,
                                std::optional<std::size_t> selectedTabIndex, std::optional<UUID> currentModularID) {
    ModularDocument document;
    for (const auto& modular : engine.modulars()) document.modulars.push_back(makeSnapshot(*modular));
    document.currentModularID = currentModularID;
    if (selectedTabIndex && *selectedTabIndex < tabs.size()) {
        document.selectedTabIndex = static_cast<std::int64_t>(*selectedTabIndex);
        document.activityState = tabs[*selectedTabIndex].activityState;
    }
    document.tabs = std::move(tabs);
    return document;
}

void saveDocument(const ModularDocument& document, const std::filesystem::path& path, DefaultsStore& defaults) {
    writeDocumentFile(document, path);
    std::error_code unknown;
    const std::filesystem::path whole = std::filesystem::absolute(path, unknown);
    defaults.setString(lastSavedFileKey, (unknown ? path : whole).string());
}

void saveState(const ModularDocument& document, SupportFolder& folder) {
    try {
        writeDocumentFile(document, folder.path() / stateFileName);
    } catch (const FileError& fault) {
        VarnolexLogger::shared().log(std::string("The session's safety copy can't be written: ") + fault.what());
    }
}

void saveInitTemplate(const ModularDocument& document, SupportFolder& folder) {
    writeDocumentFile(document, folder.path() / initTemplateFileName);
}

std::optional<ModularDocument> loadInitTemplate(SupportFolder& folder) {
    try {
        return readDocumentFile(folder.path() / initTemplateFileName);
    } catch (const FileError& fault) {
        // Having no template is nothing to report.
        if (fault.isMissing()) return std::nullopt;
        VarnolexLogger::shared().error(std::string("Failed to load init template: ") + fault.what());
    } catch (const DocumentError& fault) {
        VarnolexLogger::shared().error(std::string("Failed to load init template: ") + fault.what());
    }
    return std::nullopt;
}

std::filesystem::path patchPath(const std::filesystem::path& chosen) {
    std::filesystem::path path = chosen;
    if (lowerCased(chosen.extension().string()) != patchExtension) path += patchExtension;
    return path;
}

std::filesystem::path exportPatch(const Modular& modular, const std::filesystem::path& chosen) {
    ModularDocument patch;
    patch.modulars.push_back(makeSnapshot(modular));
    patch.currentModularID = modular.id;
    const std::filesystem::path path = patchPath(chosen);
    writeDocumentFile(patch, path);
    return path;
}

ImportedPatch importPatch(const std::filesystem::path& path, ModularEngine& engine, VirtualPortManager* ports) {
    ModularDocument document = readDocumentFile(path);
    ImportedPatch imported;
    if (document.modulars.empty()) return imported;
    imported.modular = restoreModular(withFreshIDs(std::move(document.modulars.front())), imported.findings);
    for (const std::string& line : imported.findings.logLines) VarnolexLogger::shared().error(line);
    engine.adoptModular(imported.modular);
    engine.startNodes(*imported.modular);
    bindEndpoints(*imported.modular, ports);
    return imported;
}

}  // namespace varnolex
