#include "cli/DumpCommand.hpp"

#include <memory>
#include <vector>

#include "cli/MusicInput.hpp"
#include "cli/RecorderDump.hpp"
#include "cli/Streams.hpp"
#include "core/MessageParser.hpp"
#include "core/NRPNAssembler.hpp"
#include "core/text/MessageDescription.hpp"
#include "platform/VirtualRuntime.hpp"

namespace varnolex {
namespace {

/// Output is handed over in pieces of about this size, so that a long input needs no memory for its description.
constexpr std::size_t pieceSize = std::size_t{1} << 20;

/// How often a display flushes sequences that have no end.
constexpr std::uint64_t displayStep = 100'000'000;

/// One endpoint's way from bytes to messages.
struct Ear {
    MessageParser parser;
    NRPNAssembler assembler;
};

class Dump {
public:
    Dump(const MusicInput& recorded, bool asJSON, bool foldingSequences)
        : input(recorded), json(asJSON), assemble(foldingSequences) {
        for (const std::string& name : input.endpoints()) {
            ears.push_back(std::make_unique<Ear>());
            ears.back()->parser.originatingEndpointName = SharedName(name);
            ears.back()->assembler.onDelayedMessages = [this](const MessageList& messages) { print(messages); };
        }
    }

    void run(VirtualRuntime& runtime) {
        MessageList messages;
        for (const MusicInput::Packet& packet : input.packets()) {
            passTimeTo(runtime, packet.time);
            Ear& ear = *ears[packet.endpoint];
            const auto bytes = input.bytes(packet);
            messages.clear();
            ear.parser.parse(bytes.data(), bytes.size(), VirtualRuntime::epoch + packet.time, messages);
            for (const MessageRef& message : messages)
                message->originatingEndpointName = ear.parser.originatingEndpointName;
            print(assemble ? ear.assembler.process(messages) : messages);
        }
        passTimeTo(runtime, input.endTime() + displayStep);
        writeOutput("-", text);
    }

private:
    /// Sequences are closed by the display's own step, so that step goes on between the packets.
    void passTimeTo(VirtualRuntime& runtime, std::uint64_t time) {
        if (assemble && time >= nextStep) {
            runtime.runUntil(VirtualRuntime::epoch + nextStep);
            for (const auto& ear : ears) print(ear->assembler.flushPending());
            nextStep += ((time - nextStep) / displayStep + 1) * displayStep;
        }
        runtime.runUntil(VirtualRuntime::epoch + time);
    }

    void print(const MessageList& messages) {
        for (const MessageRef& message : messages) {
            const std::uint64_t time = message->timeStamp - VirtualRuntime::epoch;
            json ? appendMessageJSON(text, *message, time) : appendMessageText(text, *message, time);
        }
        if (text.size() < pieceSize) return;
        writeOutput("-", text);
        text.clear();
    }

    const MusicInput& input;
    const bool json;
    const bool assemble;
    std::vector<std::unique_ptr<Ear>> ears;
    std::uint64_t nextStep = displayStep;
    std::string text;
};

}  // namespace

void runDump(const std::string& file, bool json, bool assemble) {
    if (isRecorderFileName(file)) return dumpRecorder(file, json);
    const MusicInput input = MusicInput::read(file, MusicInput::LongPackets::accepted);
    VirtualRuntime runtime;
    const RuntimeScope scope(runtime);
    Dump(input, json, assemble).run(runtime);
}

}  // namespace varnolex
