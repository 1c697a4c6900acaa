#include "cli/ConvertCommand.hpp"

#include "cli/CommandFailure.hpp"
#include "cli/PatchSource.hpp"
#include "cli/Streams.hpp"
#include "platform/VirtualRuntime.hpp"
#include "studio/DocumentError.hpp"
#include "studio/DocumentLoader.hpp"
#include "studio/DocumentReader.hpp"
#include "studio/DocumentWriter.hpp"

namespace varnolex {
namespace {

ModularDocument readDocument(const std::string& input) {
    try {
        return DocumentReader::read(readInput(input));
    } catch (const DocumentError& error) {
        throw CommandFailure(inputName(input) + ": " + error.what());
    }
}

}  // namespace

void runConvert(const std::string& input, const std::string& output) {
    VirtualRuntime runtime;
    const RuntimeScope scope(runtime);
    DocumentFindings findings;
    const ModularDocument document = rewriteDocument(readDocument(input), findings);
    writeOutput(output, DocumentWriter::write(document));
    tellFindings(findings, inputName(input));
}

}  // namespace varnolex
