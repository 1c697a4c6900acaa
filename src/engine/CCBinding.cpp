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
    auto table = std::make_unique<Flat>();
    for (const auto& [toolID, ports] : next)
        for (const auto& [portID, binding] : ports) {
            table->push_back({toolID, binding});
            if (portID == CCBinding::bypassPort) BypassToggleState::shared().prepare(toolID);
        }
    map.set(std::move(next));
    flat.publish(table->empty() ? nullptr : std::move(table));
    NotificationCenter::shared().post(storeDidChange);
}

void CCBindingStore::setBindings(const UUID& toolID, ToolBindings next) {
    Map all = bindings();
    if (next.empty())
        all.erase(toolID);
    else
        all[toolID] = std::move(next);
    setBindings(std::move(all));
}

}  // namespace varnolex
