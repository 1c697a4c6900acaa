#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "engine/ParameterAccess.hpp"
#include "engine/ToolChain.hpp"
#include "platform/VirtualRuntime.hpp"
#include "tools/ToolFactory.hpp"

namespace varnolex::testing {

/// What left a chain.
struct Exited {
    std::vector<std::uint8_t> bytes;
    bool isLastInBatch;
    HostTime timeStamp;
    /// The host time at which it left.
    HostTime at;
};

/// "90 3C 64" with " |" behind it when it ends a batch; "-" for an empty carrier.
inline std::string textOf(const Exited& exited) {
    static const char* digits = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : exited.bytes) {
        if (!text.empty()) text += ' ';
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    if (text.empty()) text = "-";
    if (exited.isLastInBatch) text += " |";
    return text;
}

/// Keeps what leaves a chain.
class RecordingExit final : public ChainExit {
public:
    explicit RecordingExit(std::vector<Exited>& list) : into(list) {}

    void deliver(const ChainMessage& message) noexcept override {
        into.push_back({{message.bytes, message.bytes + message.length},
                        message.isLastInBatch,
                        message.timeStamp,
                        Runtime::current().hostTime()});
    }

private:
    std::vector<Exited>& into;
};

/// A tool in a chain of its own, in virtual time, with ears at the exit.
class ChainProbe {
public:
    explicit ChainProbe(PipeToolType type) : scope(runtime), tool(makeTool(type)) {
        chain = ToolChain::make({tool}, "probe");
        chain->setMessageDidExit(std::make_unique<RecordingExit>(exited));
        tool->chainWasWired(0);
    }
    ~ChainProbe() { tool->stop(); }

    void set(std::string_view key, ParameterValue value) { setParameter(*tool, key, std::move(value)); }
    void set(std::string_view key, int value) { set(key, ParameterValue(std::int64_t{value})); }
    void set(std::string_view key, bool value) { set(key, ParameterValue(value)); }
    void set(std::string_view key, double value) { set(key, ParameterValue(value)); }
    void set(std::string_view key, const char* value) { set(key, ParameterValue(std::string(value))); }

    void send(const std::vector<std::uint8_t>& bytes, bool isLastInBatch = true, HostTime timeStamp = 0) {
        chain->send({bytes.data(), bytes.size(), timeStamp ? timeStamp : runtime.hostTime(), isLastInBatch});
    }
    void sendEmpty(bool isLastInBatch) { chain->send({nullptr, 0, runtime.hostTime(), isLastInBatch}); }

    /// What has left since the last call, in texts.
    std::vector<std::string> taken() {
        std::vector<std::string> texts;
        for (const Exited& one : exited) texts.push_back(textOf(one));
        exited.clear();
        return texts;
    }

    /// Sends one message and returns what it made leave.
    std::vector<std::string> answer(const std::vector<std::uint8_t>& bytes, bool isLastInBatch = true) {
        taken();
        send(bytes, isLastInBatch);
        return taken();
    }

    VirtualRuntime runtime;
    RuntimeScope scope;
    std::shared_ptr<PipeTool> tool;
    std::shared_ptr<ToolChain> chain;
    std::vector<Exited> exited;
};

}  // namespace varnolex::testing
