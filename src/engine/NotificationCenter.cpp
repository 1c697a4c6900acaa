#include "engine/NotificationCenter.hpp"

namespace varnolex {

NotificationCenter& NotificationCenter::shared() {
    static NotificationCenter center;
    return center;
}

NotificationCenter::Token NotificationCenter::observe(std::string_view name, Observer observer) {
    observers[std::string(name)].push_back({++lastToken, std::move(observer)});
    return lastToken;
}

void NotificationCenter::stopObserving(Token token) {
    for (auto& [name, entries] : observers)
        std::erase_if(entries, [token](const Entry& entry) { return entry.token == token; });
}

void NotificationCenter::post(std::string_view name, const UUID& object) {
    const auto found = observers.find(name);
    if (found == observers.end()) return;
    // An observer may come or go while it is being told.
    const std::vector<Entry> told = found->second;
    for (const Entry& entry : told) entry.observer(object);
}

}  // namespace varnolex
