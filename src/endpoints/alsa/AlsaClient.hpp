#pragma once

#include <memory>
#include <string>

#include "endpoints/alsa/AlsaClock.hpp"
#include "endpoints/alsa/AlsaEvents.hpp"
#include "endpoints/alsa/AlsaSequencer.hpp"
#include "platform/DescriptorThread.hpp"
#include "platform/concurrency/Published.hpp"

struct _snd_seq;

namespace varnolex {

/// The machine's ALSA sequencer: our client with its thread, which reads what comes, stamps it with the sequencer's
/// time of delivery, and writes what the outlets have.
class AlsaClient final : public AlsaSequencer {
public:
    /// An `Opening`.
    static std::unique_ptr<AlsaSequencer> open(const std::string& clientName, std::shared_ptr<Bell> sharedBell,
                                               std::shared_ptr<AlsaLosses> sharedLosses, Calls sequencerCalls,
                                               std::string& reason);
    /// Ends the thread first.
    ~AlsaClient() override;
    AlsaClient(const AlsaClient&) = delete;
    AlsaClient& operator=(const AlsaClient&) = delete;

    bool isAlive() const override { return !isGone.get(); }
    std::vector<AlsaPortInfo> foreignPorts() const override;
    AlsaChanges takeChanges() override;
    std::optional<int> makePort(const std::string& name, bool isSource) override;
    void renamePort(int port, const std::string& name) override;
    void removePort(int port) override;
    std::vector<std::uint8_t> listeners(int port) const override;
    std::vector<std::uint8_t> receivers(AlsaAddress destination) const override;
    bool connect(AlsaAddress foreign, bool isSource) override;
    void disconnect(AlsaAddress foreign, bool isSource) override;
    bool setGraph(std::unique_ptr<const AlsaGraph> next) override;

private:
    AlsaClient(_snd_seq* opened, std::shared_ptr<Bell> sharedBell, std::shared_ptr<AlsaLosses> sharedLosses,
               Calls sequencerCalls);
    /// False when the sequencer refuses what we can't be without.
    bool prepare(const std::string& clientName);
    void startThread();
    int addPort(const std::string& name, unsigned capabilities) const;
    bool isConnected(AlsaAddress foreign, bool isSource) const;

    bool receive();
    bool receiveSome(const AlsaGraph& now);
    void note(const snd_seq_event& event);
    void add(const AlsaGraph::Inlet& inlet, const snd_seq_event& event);
    void addPacket(HostTime time, std::span<const std::uint8_t> bytes);
    void flush();
    HostTime drain();

    _snd_seq* const sequencer;
    const std::shared_ptr<Bell> bell;
    const std::shared_ptr<AlsaLosses> losses;
    const Calls on;
    int ownClient = 0;
    /// Ports of ours that nobody else may connect to: for what comes from sources of others, and what goes to their
    /// destinations.
    int inPort = 0;
    int outPort = 0;
    int descriptor = -1;
    Published<AlsaGraph> graph;
    Mailbox<AlsaAddress> arrivals{256};
    std::uint64_t knownLostArrivals = 0;
    SharedValue<bool> hasMissedNews{false};
    SharedValue<bool> isGone{false};

    // The thread's own.
    AlsaCodec codec;
    std::unique_ptr<AlsaClock> clock;
    std::vector<std::uint8_t> listMemory;
    PacketListBuilder list;
    AlsaGraph::Inlet listInlet{};

    std::unique_ptr<DescriptorThread> thread;
};

}  // namespace varnolex
