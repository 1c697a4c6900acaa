#pragma once

#include "studio/DocumentFindings.hpp"
#include "studio/ModularDocument.hpp"
#include "studio/ModularEngine.hpp"
#include "studio/TabPlan.hpp"

namespace varnolex {

class VirtualPortManager;

/// What became of a document: the tabs to open, and what couldn't be kept.
struct LoadedDocument {
    TabPlan tabs;
    DocumentFindings findings;
};

/// Replaces all graphs of the engine by the document's, starts them and binds their endpoints (`bindEndpoints`, with
/// `ports`). Records that can't be decoded are logged. Main thread.
LoadedDocument loadDocument(const ModularDocument& document, ModularEngine& engine, VirtualPortManager* ports);

/// A document as loading and saving it would leave it, without what can't be kept and with every record complete. Its
/// tabs keep what the format knows of them. Main thread.
ModularDocument rewriteDocument(const ModularDocument& document, DocumentFindings& findings);

}  // namespace varnolex
