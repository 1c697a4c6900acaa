#include "engine/NotificationCenter.hpp"

namespace varnolex {

NotificationCenter& NotificationCenter::shared() {
    static NotificationCenter center;
    return center;
}

NotificationCenter::Token NotificationCenter::observe(std::string_view name, Observer observer) {
    return entries.with([&](Register& held) {
        held.observers[std::string(name)].push_back({++held.lastToken, std::move(observer)});
        return held.lastToken;
    });
}

void NotificationCenter::stopObserving(Token token) {
    entries.with([token](Register& held) {
        for (auto& [name, observers] : held.observers)
            std::erase_if(observers, [token](const Entry& entry) { return entry.token == token; });
    });
}

void NotificationCenter::post(std::string_view name, const UUID& object) {
    // An observer may come or go while it is being told.
    const auto told = entries.with([name](const Register& held) {
        const auto found = held.observers.find(name);
        return found == held.observers.end() ? std::vector<Entry>{} : found->second;
    });
    for (const Entry& entry : told) entry.observer(object);
}

}  // namespace varnolex
