#include "endpoints/input/ParserRegistry.hpp"

#include <utility>

namespace varnolex {

ParserRegistry::Entry ParserRegistry::find(MIDIEndpointRef reference) const {
    return entries.with([&](const Entries& held) {
        const auto found = held.find(reference);
        return found != held.end() ? found->second : Entry{};
    });
}

void ParserRegistry::insert(MIDIEndpointRef reference, SharedName name) {
    // Memory is taken and given back outside of the lock.
    Entries made;
    made.emplace(reference, Entry{std::make_shared<MessageParser>(), name});
    auto node = made.extract(reference);
    Entry replaced;
    entries.with([&](Entries& held) {
        const auto known = held.find(reference);
        if (known == held.end())
            held.insert(std::move(node));
        else
            replaced = std::exchange(known->second, std::move(node.mapped()));
    });
}

void ParserRegistry::remove(MIDIEndpointRef reference) {
    const auto removed = entries.with([&](Entries& held) { return held.extract(reference); });
}

void ParserRegistry::setName(MIDIEndpointRef reference, SharedName name) {
    entries.with([&](Entries& held) {
        const auto known = held.find(reference);
        if (known != held.end()) known->second.name = name;
    });
}

}  // namespace varnolex
