#include "cli/CompileCommand.hpp"

#include "cli/CommandFailure.hpp"
#include "cli/PatchSource.hpp"
#include "cli/Streams.hpp"
#include "language/CompiledPatchJSON.hpp"
#include "platform/RandomSeed.hpp"
#include "platform/VirtualRuntime.hpp"
#include "studio/DocumentFiles.hpp"
#include "studio/DocumentWriter.hpp"
#include "studio/GraphSnapshot.hpp"

namespace varnolex {
namespace {

void writePatch(const std::string& text, const std::string& name, const std::string& output) {
    // Ids are to be told apart from those of every other patch.
    VirtualRuntime runtime(randomSeed());
    const RuntimeScope scope(runtime);
    const BuiltPatch patch = compilePatchText(text, name);
    patch.modular->name = std::filesystem::path(output).stem().string();
    ModularDocument document;
    document.modulars.push_back(makeSnapshot(*patch.modular));
    document.currentModularID = patch.modular->id;
    writeOutput(output, DocumentWriter::write(document));
}

}  // namespace

void runCompile(const CompileOptions& options) {
    if (options.output && *options.output != "-" && !hasEnding(*options.output, {patchExtension}))
        throw UsageError("compile writes a patch file: " + *options.output + " doesn't end in " +
                         std::string(patchExtension));
    const std::string name = options.text ? "--patch" : inputName(options.file);
    const std::string text = options.text ? *options.text : readInput(options.file);
    if (options.output) return writePatch(text, name, *options.output);
    writeOutput("-", compiledPatchJSON(compileText(text, name)) + "\n");
}

}  // namespace varnolex
