// USES studio
#include <string>

#include "FuzzInput.hpp"
#include "engine/CCBinding.hpp"
#include "platform/VarnolexLogger.hpp"
#include "platform/VirtualRuntime.hpp"
#include "studio/DocumentLoader.hpp"
#include "studio/DocumentReader.hpp"
#include "studio/DocumentWriter.hpp"

/// Reads any bytes as a document. What can be read has to be written so that it reads as the same, and once
/// rewritten nothing is left to rewrite.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace varnolex;
    VirtualRuntime runtime;
    const RuntimeScope scope(runtime);
    VarnolexLogger::shared().replaceSink([](std::string_view) {});
    // Each run draws the same ids: without this, its tools would inherit the bindings of the run before.
    CCBindingStore::shared().setBindings(CCBindingStore::Map{});
    ModularDocument document;
    try {
        document = DocumentReader::read(textOf(data, size));
    } catch (const DocumentError&) {
        return 0;
    }
    const std::string written = DocumentWriter::write(document);
    require(DocumentReader::read(written) == document, "what is written reads as the same");
    require(DocumentWriter::write(DocumentReader::read(written)) == written, "the same document gives the same bytes");

    DocumentFindings findings;
    const ModularDocument rewritten = rewriteDocument(document, findings);
    DocumentFindings none;
    require(rewriteDocument(rewritten, none) == rewritten, "rewriting twice is rewriting once");
    require(none.dropped.empty() && none.undecodable.empty(), "a rewritten document is whole");

    ModularEngine engine;
    loadDocument(rewritten, engine, nullptr);
    runtime.settle();
    return 0;
}
