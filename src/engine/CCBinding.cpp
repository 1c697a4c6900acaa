#include "engine/CCBinding.hpp"

#include "engine/BypassToggleState.hpp"
#include "engine/NotificationCenter.hpp"

namespace varnolex {

CCBindingStore& CCBindingStore::shared() {
    static CCBindingStore store;
    return store;
}

ToolBindings CCBindingStore::bindings(const UUID& toolID) const {
    return map.with([&](const Map& held) {
        const auto found = held.find(toolID);
        return found == held.end() ? ToolBindings{} : found->second;
    });
}

void CCBindingStore::setBindings(Map next) {
    replace([&](Map& held) { held = std::move(next); });
}

void CCBindingStore::setBindings(const UUID& toolID, ToolBindings next) {
    // A controller that is bound anew is to be learned anew.
    if (!next.contains(std::string(CCBinding::bypassPort))) BypassToggleState::shared().reset(toolID);
    replace([&](Map& held) {
        if (next.empty())
            held.erase(toolID);
        else
            held[toolID] = std::move(next);
    });
}

/// One at a time; the processing road takes another way and isn't kept waiting.
template <class Edit>
void CCBindingStore::replace(Edit edit) {
    map.with([&](Map& held) {
        edit(held);
        auto table = std::make_unique<Flat>();
        for (const auto& [toolID, ports] : held)
            for (const auto& [portID, binding] : ports) {
                table->push_back({toolID, binding});
                if (portID == CCBinding::bypassPort) BypassToggleState::shared().prepare(toolID);
            }
        flat.publish(table->empty() ? nullptr : std::move(table));
    });
    NotificationCenter::shared().post(storeDidChange);
}

}  // namespace varnolex
