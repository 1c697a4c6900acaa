#include "cli/live/EndpointChoice.hpp"

#include <algorithm>

#include "cli/CommandFailure.hpp"
#include "cli/Streams.hpp"

namespace varnolex {
namespace {

std::string inLowerCase(std::string text) {
    std::ranges::transform(text, text.begin(), [](char letter) { return lowerCased(letter); });
    return text;
}

template <class Info>
std::vector<const Info*> matching(const std::vector<Info>& endpoints, auto&& matches) {
    std::vector<const Info*> found;
    for (const Info& endpoint : endpoints)
        if (matches(endpoint)) found.push_back(&endpoint);
    return found;
}

/// From the strictest reading of the word to the loosest: the first that fits anything decides.
template <class Info>
std::vector<const Info*> meantBy(const std::vector<Info>& endpoints, const std::string& word) {
    const std::string lower = inLowerCase(word);
    auto found = matching(endpoints, [&](const Info& info) { return std::to_string(info.uniqueID) == word; });
    if (found.empty()) found = matching(endpoints, [&](const Info& info) { return info.displayName == word; });
    if (found.empty())
        found = matching(endpoints, [&](const Info& info) { return inLowerCase(info.displayName) == lower; });
    if (found.empty())
        found = matching(endpoints, [&](const Info& info) {
            return inLowerCase(info.displayName).find(lower) != std::string::npos;
        });
    return found;
}

template <class Info>
std::string listOf(const std::vector<Info>& endpoints) {
    std::string names;
    for (const Info& endpoint : endpoints) names += (names.empty() ? "\"" : ", \"") + endpoint.displayName + "\"";
    return names;
}

template <class Info>
const Info* find(const std::vector<Info>& endpoints, const std::string& word) {
    const auto found = meantBy(endpoints, word);
    return found.size() == 1 ? found.front() : nullptr;
}

template <class Info>
Info choose(const std::vector<Info>& endpoints, const std::string& word, const std::string& role) {
    const auto found = meantBy(endpoints, word);
    if (found.size() == 1) return *found.front();
    if (found.size() > 1)
        throw CommandFailure(std::to_string(found.size()) + " " + role + "s are meant by \"" + word +
                             "\"; `varnolex list` tells their unique IDs");
    if (endpoints.empty()) throw CommandFailure("there is no " + role + " at all, so none called \"" + word + "\"");
    throw CommandFailure("there is no " + role + " \"" + word + "\"; there are " + listOf(endpoints));
}

}  // namespace

MIDISourceInfo chooseSource(const std::vector<MIDISourceInfo>& sources, const std::string& word) {
    return choose(sources, word, "source");
}

MIDIDestinationInfo chooseDestination(const std::vector<MIDIDestinationInfo>& destinations, const std::string& word) {
    return choose(destinations, word, "destination");
}

const MIDISourceInfo* findSource(const std::vector<MIDISourceInfo>& sources, const std::string& word) {
    return find(sources, word);
}

const MIDIDestinationInfo* findDestination(const std::vector<MIDIDestinationInfo>& destinations,
                                           const std::string& word) {
    return find(destinations, word);
}

}  // namespace varnolex
