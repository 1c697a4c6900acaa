#pragma once

#include <set>
#include <string>
#include <vector>

#include "endpoints/memory/MemoryService.hpp"
#include "endpoints/tap/DestinationTap.hpp"

namespace varnolex {

/// Taps the plugged destinations of an in-process service, and notes "+ID" and "-ID".
class MemoryTap final : public DestinationTap {
public:
    explicit MemoryTap(MemoryService& tappedService) : service(tappedService) {}

    void setListener(Listener next) override { listener = std::move(next); }

    void start(std::int32_t uniqueID) override {
        notes.push_back("+" + std::to_string(uniqueID));
        active.insert(uniqueID);
        MIDIObjectRef destination = 0;
        if (service.MIDIObjectFindByUniqueID(uniqueID, destination) != midiSuccess) return;
        if (!listening.insert(uniqueID).second) return;
        service.listen(destination, [this, uniqueID](const PacketListView& list) {
            if (active.contains(uniqueID)) listener(uniqueID, list);
        });
    }

    void stop(std::int32_t uniqueID) override {
        notes.push_back("-" + std::to_string(uniqueID));
        active.erase(uniqueID);
    }

    std::vector<std::string> notes;

private:
    MemoryService& service;
    Listener listener;
    std::set<std::int32_t> active;
    std::set<std::int32_t> listening;
};

}  // namespace varnolex
