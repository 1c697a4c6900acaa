#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "endpoints/MIDIManager.hpp"
#include "endpoints/VirtualPortManager.hpp"
#include "platform/DefaultsStore.hpp"
#include "studio/Modular.hpp"
#include "tools/endpoints/MidiInTool.hpp"
#include "tools/endpoints/MidiOutTool.hpp"

namespace varnolex {

/// Keeps the ends of a started graph attached to endpoints while those come and go. An end belongs to the endpoint that
/// it was stored with, by unique ID, else by name; one that was stored with none belongs to the endpoint that the user
/// names for it, or, without one, to a virtual port that other programs find under the node's name. Main thread.
class LiveBinding {
public:
    /// What the user names for ends without an endpoint.
    struct Choice {
        std::optional<std::string> input;
        std::optional<std::string> output;
    };

    /// `tell` gets a sentence whenever an end comes on line or goes off. Throws `CommandFailure` when an endpoint that
    /// the user names isn't there.
    LiveBinding(const Modular& modular, MIDIManager& directory, const Choice& choice,
                std::function<void(const std::string&)> tell);

    /// Attaches whatever has come, and notices whatever has gone: at every change of the directory.
    void update();

    const std::vector<std::shared_ptr<MidiOutTool>>& outputTools() const { return outputs; }

private:
    /// An end that an endpoint of the system belongs to.
    struct End {
        std::shared_ptr<MidiInTool> input;
        std::shared_ptr<MidiOutTool> output;
        std::optional<std::int32_t> uniqueID;
        std::string endpointName;
        /// Of the endpoint that it is attached to; 0 while that is away, nothing before the first look.
        std::optional<MIDIEndpointRef> attached{};

        std::string name() const { return input ? input->name() : output->name(); }
    };

    void addInput(std::shared_ptr<MidiInTool> tool, const std::optional<std::string>& chosen);
    void addOutput(std::shared_ptr<MidiOutTool> tool, const std::optional<std::string>& chosen);
    template <class Info>
    void update(End& end, const std::vector<Info>& endpoints);
    void attach(End& end, std::int32_t uniqueID);
    void detach(End& end);
    std::string unusedPortName(const std::string& name) const;

    MIDIManager& manager;
    std::function<void(const std::string&)> report;
    DefaultsStore portsOfThisRun;
    VirtualPortManager ports;
    std::vector<End> ends;
    std::vector<std::shared_ptr<MidiOutTool>> outputs;
};

}  // namespace varnolex
