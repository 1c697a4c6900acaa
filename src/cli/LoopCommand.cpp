#include "cli/LoopCommand.hpp"

#include "cli/CommandFailure.hpp"
#include "cli/Streams.hpp"
#include "core/midifile/MIDIFile.hpp"
#include "engine/Catalogue.hpp"
#include "platform/RandomSeed.hpp"
#include "platform/VirtualRuntime.hpp"
#include "studio/DocumentError.hpp"
#include "studio/DocumentReader.hpp"
#include "studio/DocumentWriter.hpp"
#include "studio/ToolRecord.hpp"
#include "tools/looper/LooperMIDIFile.hpp"
#include "tools/looper/LooperTool.hpp"

namespace varnolex {
namespace {

using Node = ModularDocument::NodeSnapshot;

std::string quoted(const std::string& name) { return '"' + name + '"'; }

/// A document with one of its loopers brought to life.
class OpenLoop {
public:
    explicit OpenLoop(const LoopChoice& loopChoice) : choice(loopChoice), document(readDocument()), node(findNode()) {
        if (!node.configData) return;
        if (const auto reason = tryApplyConfig(*node.configData, *looper))
            fail("the settings of " + quoted(node.name) + " can't be read: " + *reason);
    }

    void exportTo(const std::string& output) const {
        const std::string file = looper->exportMIDIFile();
        if (file.empty()) fail("there are no notes in the loop of " + quoted(node.name));
        writeOutput(output, file);
    }

    void importFrom(const std::string& file, const std::string& output) {
        try {
            LoopBuffer loop;
            LooperMIDIFile::read(readInput(file), loop);
            looper->adopt(loop);
        } catch (const MIDIFileError& error) {
            throw CommandFailure(inputName(file) + ": " + error.what());
        }
        node.configData = encodeConfig(*looper);
        writeOutput(output, DocumentWriter::write(document));
    }

private:
    [[noreturn]] void fail(const std::string& sentence) const {
        throw CommandFailure(inputName(choice.document) + ": " + sentence);
    }

    ModularDocument readDocument() const {
        try {
            return DocumentReader::read(readInput(choice.document));
        } catch (const DocumentError& error) {
            fail(error.what());
        }
    }

    Node& findNode() {
        std::vector<Node*> found;
        bool hasStudio = !choice.studio;
        for (auto& studio : document.modulars) {
            if (choice.studio && studio.name != *choice.studio) continue;
            hasStudio = true;
            for (Node& each : studio.nodes)
                if (each.toolType == toolKind(PipeToolType::looper).rawValue &&
                    (!choice.node || each.name == *choice.node))
                    found.push_back(&each);
        }
        if (!hasStudio) fail("there is no studio named " + quoted(*choice.studio));
        if (found.empty())
            fail(choice.node ? "there is no looper named " + quoted(*choice.node) : "there is no looper");
        if (found.size() > 1) fail(severalAre(found));
        return *found.front();
    }

    std::string severalAre(const std::vector<Node*>& found) const {
        if (choice.node)
            return "several loopers are named " + quoted(*choice.node) +
                   (choice.studio ? "" : "; choose one with --studio");
        std::string names;
        for (const Node* each : found) names += (names.empty() ? "" : ", ") + quoted(each->name);
        return "there are several loopers (" + names + "); choose one with --node";
    }

    // Ids are to be told apart from those of every other document.
    VirtualRuntime runtime{randomSeed()};
    RuntimeScope scope{runtime};
    const LoopChoice& choice;
    ModularDocument document;
    Node& node;
    const std::shared_ptr<LooperTool> looper = std::make_shared<LooperTool>();
};

}  // namespace

void runLoopExport(const LoopChoice& choice, const std::string& output) { OpenLoop(choice).exportTo(output); }

void runLoopImport(const LoopChoice& choice, const std::string& file, const std::optional<std::string>& output) {
    if (choice.document == "-" && file == "-")
        throw UsageError("the document and the MIDI file can't both be standard input");
    OpenLoop(choice).importFrom(file, output.value_or(choice.document));
}

}  // namespace varnolex
