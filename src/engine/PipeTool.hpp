#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engine/ChainMessage.hpp"
#include "engine/Parameter.hpp"
#include "engine/PipeToolType.hpp"
#include "engine/ValuePort.hpp"
#include "platform/UUID.hpp"
#include "platform/concurrency/LiveValue.hpp"
#include "platform/concurrency/Published.hpp"

namespace varnolex {

class PipeTool;
class ToolChain;
class Transport;
class ValueProducer;
class ValueReceiver;

/// What a tool's file says of its kind: the row of the factory's table.
class ToolDefinition {
public:
    using Make = std::shared_ptr<PipeTool> (*)();

    /// `record` is the name of the configuration record, empty for a kind without one.
    ToolDefinition(PipeToolType kind, std::string_view recordName, std::span<const Parameter> table, Make maker);

    PipeToolType type;
    std::string_view record;
    std::span<const Parameter> parameters;
    Make make;
    /// The ports, in the order in which they are listed.
    std::vector<ValuePort> ports;
};

/// From which settings a look or an edit starts.
enum class SettingsBase {
    /// What the tool has now.
    current,
    /// What an absent key of a record means.
    silence,
    /// What a new tool starts with.
    fresh,
};

/// One processing step: takes one message and hands on none, one or several. All 59 kinds fulfil this contract.
///
/// `process` runs on real-time threads, under the lock of the walk. Everything else belongs to the main thread
/// unless it says otherwise.
class PipeTool : public std::enable_shared_from_this<PipeTool> {
public:
    explicit PipeTool(const ToolDefinition& kindDefinition);
    virtual ~PipeTool() = default;
    PipeTool(const PipeTool&) = delete;
    PipeTool& operator=(const PipeTool&) = delete;

    const UUID& id() const { return identity; }
    PipeToolType toolType() const { return kind.type; }
    const ToolDefinition& definition() const { return kind; }

    const std::string& name() const { return shownName; }
    void setName(std::string name);

    /// Any thread may ask. A disabled tool sees no message: the chain steps over it.
    bool isEnabled() const { return enabled.get(); }
    void setEnabled(bool isOn);

    /// Handles one message, in zero or more calls of `chain.forward`. An empty carrier is handed on unchanged.
    /// Real-time: no allocation, no waiting, no exception.
    virtual void process(const ChainMessage& message, ToolChain& chain) = 0;

    // Values

    /// True on the tools that fulfil `ValueProducer`.
    bool hasValueOutput() { return valueProducer() != nullptr; }
    virtual ValueProducer* valueProducer() { return nullptr; }
    virtual ValueReceiver* valueReceiver() { return nullptr; }

    /// The tool's numeric inputs: the same for every tool of a kind.
    std::span<const ValuePort> valuePorts() const { return kind.ports; }
    virtual std::optional<ValuePort> port(std::string_view portID) const;

    /// Whether numbers can ride this tool's parameters.
    virtual bool takesLiveValues() const { return false; }

    /// The key under which a port or parameter is ridden, as a text that lives as long as the program; empty when
    /// the tool knows no such key. Any thread.
    virtual std::string_view liveKey(std::string_view) const { return {}; }

    /// Sets the live value of a key, or clears it. An unknown key is ignored.
    virtual void setLiveValue(std::optional<double>, std::string_view) {}

    // Settings

    /// Shows the settings record to `look`, for the rows of the definition's table.
    virtual void viewSettings(SettingsBase, const std::function<void(const void*)>&) const {}

    /// Lets `edit` write into a copy of a settings record and adopts the result as one change. If `edit` throws,
    /// nothing has changed.
    virtual void editSettings(SettingsBase, const std::function<void(void*)>&) {}

    /// Called once after a stored record was adopted, for kinds with a step of their own at that point.
    virtual void recordWasApplied() {}

    /// What the tool holds beside its settings and documents keep with them: a list of integers, under a key of the
    /// tool's own in its record. An empty list isn't kept.
    virtual std::string_view contentKey() const { return {}; }
    virtual std::vector<std::int64_t> content() const { return {}; }

    /// Takes what `content` gave. Throws `ParameterError`, with nothing changed, for a list that it can't have given.
    virtual void adoptContent(std::span<const std::int64_t>) {}

    // Life in a graph

    /// The chain that runs this tool; nothing before there is one or after it has gone. Any thread.
    std::shared_ptr<ToolChain> chain() const {
        return owningChain.read(
            [](const std::weak_ptr<ToolChain>* owner) { return owner ? owner->lock() : std::shared_ptr<ToolChain>(); });
    }

    /// Called by a chain when it is made over this tool.
    void joinChain(std::weak_ptr<ToolChain> chain) {
        owningChain.publish(std::make_unique<const std::weak_ptr<ToolChain>>(std::move(chain)));
    }

    /// The engine tells the tool that its chain is wired: at every rebuild.
    virtual void chainWasWired(std::uint8_t /*pipeIndex*/) {}

    /// The engine brings the tool to life with the client of the MIDI service (0: there is none).
    virtual void start(std::uint32_t /*midiClient*/) {}

    /// The engine takes the tool out of service. No timer, delayed message or connection survives it.
    virtual void stop() {}

    /// The tool's own start and stop button, on the kinds that have one.
    virtual Transport* transport() { return nullptr; }

protected:
    virtual void nameDidChange() {}
    /// Called after every change of `isEnabled`, on the thread that made it.
    virtual void enabledDidChange(bool /*isOn*/) {}

private:
    const ToolDefinition& kind;
    const UUID identity;
    std::string shownName;
    SharedValue<bool> enabled{true};
    Published<std::weak_ptr<ToolChain>> owningChain;
};

/// The start and stop button of a tool that plays by itself. Main thread.
class Transport {
public:
    virtual ~Transport() = default;
    virtual void startPlaying() = 0;
    virtual void stopPlaying() = 0;
    virtual bool isPlaying() const = 0;
};

}  // namespace varnolex
