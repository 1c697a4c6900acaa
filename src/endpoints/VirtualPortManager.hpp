#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "endpoints/VirtualInput.hpp"
#include "endpoints/VirtualOutput.hpp"
#include "platform/concurrency/Guarded.hpp"

namespace varnolex {

class DefaultsStore;

/// The endpoints that this system itself offers to other applications, kept across restarts with their identities.
/// A port that can't be created stays in its list, inactive, until `activateAll` tries again. Main thread.
class VirtualPortManager {
public:
    using MessageHandler = std::function<void(const MessageList&)>;
    /// Kind 0 is an input, 1 an output.
    using FailureReport = std::function<void(int kind, MIDIStatus status)>;

    /// `store` must outlive the manager.
    explicit VirtualPortManager(DefaultsStore& store);
    /// Disposes of the live endpoints; what is stored stays.
    ~VirtualPortManager();
    VirtualPortManager(const VirtualPortManager&) = delete;
    VirtualPortManager& operator=(const VirtualPortManager&) = delete;

    /// Under which client the ports are made. With 0 they are only kept in the lists.
    void setClient(MIDIClientRef clientRef) { client = clientRef; }
    MIDIClientRef clientRef() const { return client; }

    /// Replaces all ports by the stored ones, not yet active. Without a readable list nothing changes.
    void load();

    /// Creates the endpoint of every port that has none.
    void activateAll();

    const std::vector<std::shared_ptr<VirtualInput>>& inputs() const { return inputPorts; }
    const std::vector<std::shared_ptr<VirtualOutput>>& outputs() const { return outputPorts; }

    /// Without a name the port is numbered: "Virtual Input 1", "Virtual Output 1".
    std::shared_ptr<VirtualInput> addInput(std::optional<std::string> name = {});
    std::shared_ptr<VirtualOutput> addOutput(std::optional<std::string> name = {});

    /// A new name for the same endpoint: whoever is connected stays connected.
    void renameInput(const std::shared_ptr<VirtualInput>& port, std::string name);
    void renameOutput(const std::shared_ptr<VirtualOutput>& port, std::string name);

    void removeInput(const std::shared_ptr<VirtualInput>& port);
    void removeOutput(const std::shared_ptr<VirtualOutput>& port);

    /// Gets what the inputs receive, on the main thread, once for each packet list that held anything.
    void setMessageHandler(MessageHandler handler) { *messageHandler = std::move(handler); }

    /// Called when the output has left the list and its endpoint is gone.
    std::function<void(const std::shared_ptr<VirtualOutput>&)> onOutputRemoved;
    std::function<void(const std::shared_ptr<VirtualOutput>&, const std::string& oldName)> onOutputRenamed;
    /// An endpoint couldn't be created. At first it is the flight recorder's.
    FailureReport reportCreationFailure = recordCreationFailure;

private:
    static void recordCreationFailure(int kind, MIDIStatus status);
    std::int32_t makeUniqueID(const std::string& name) const;
    bool isOccupied(std::int32_t uniqueID) const;
    bool isOwnEndpoint(MIDIObjectRef object) const;
    void create(const std::shared_ptr<VirtualInput>& port);
    void create(const std::shared_ptr<VirtualOutput>& port);
    template <class Port>
    void finishCreation(Port& port, int kind, MIDIStatus status, MIDIEndpointRef endpoint);
    void disposeAll();
    void persist() const;

    DefaultsStore& defaults;
    MIDIClientRef client = 0;
    std::vector<std::shared_ptr<VirtualInput>> inputPorts;
    std::vector<std::shared_ptr<VirtualOutput>> outputPorts;
    /// Read on the main thread only; read threads hold it weakly, to see that the manager is gone.
    std::shared_ptr<MessageHandler> messageHandler = std::make_shared<MessageHandler>();
    /// Empty lists for use again, so that a packet list in steady state costs the read threads no allocation.
    std::shared_ptr<Guarded<std::vector<MessageList>>> spareLists =
        std::make_shared<Guarded<std::vector<MessageList>>>();
};

}  // namespace varnolex
