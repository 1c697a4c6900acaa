// Parameters of endpoints, filters and channel tools.

#include <array>
#include <numeric>

#include "language/ParameterFunctions.hpp"
#include "language/TextSplitting.hpp"

namespace varnolex {

namespace {

constexpr std::int64_t allVoiceMessages = 63;

constexpr std::array<ParameterWord, 8> voiceMessageBits{{{"notes", 1},
                                                         {"note", 1},
                                                         {"polyat", 2},
                                                         {"cc", 4},
                                                         {"program", 8},
                                                         {"pressure", 16},
                                                         {"pitchwheel", 32},
                                                         {"pitchbend", 32}}};

bool isChannel(std::int64_t number) { return number >= 1 && number <= 16; }

std::int64_t voiceMessageMask(std::string_view words) {
    std::int64_t mask = 0;
    for (const auto word : splitList(withoutBrackets(words))) {
        mask |= findWord(voiceMessageBits, lowerCased(word)).value_or(0);
    }
    return mask;
}

}  // namespace

void readInParameters(NodeParameters& call) { call.toggle("virtual", call.named({"virtual"})); }

void readOutParameters(NodeParameters& call) {
    call.toggle("virtual", call.named({"virtual"}));
    call.toggle("noteOffVelocity", call.named({"noteOffVel"}));
}

void readChannelFilterParameters(NodeParameters& call) {
    // A call that names no channel at all filters nothing; one that names only impossible ones passes nothing.
    std::optional<std::int64_t> mask;
    for (const auto word : call.positionals()) {
        const auto channel = readInteger(word);
        if (!channel) continue;
        mask = mask.value_or(0) | (isChannel(*channel) ? std::int64_t{1} << (*channel - 1) : 0);
    }
    if (mask) call.set("channelMask", *mask);
}

void readChannelRouterParameters(NodeParameters& call) {
    std::vector<std::int64_t> map(16);
    std::iota(map.begin(), map.end(), 0);
    bool anyRoute = false;
    for (const auto word : call.positionals()) {
        const auto route = readArrow(word);
        if (!route || !isChannel(route->low) || !isChannel(route->high)) continue;
        map[static_cast<std::size_t>(route->low - 1)] = route->high - 1;
        anyRoute = true;
    }
    if (anyRoute) call.set("channelMap", std::move(map));
}

void readFilterParameters(NodeParameters& call) {
    std::int64_t mask = allVoiceMessages;
    for (const auto& param : call.all()) {
        if (param.key == "allow") mask = voiceMessageMask(param.value);
        if (param.key == "block") mask &= ~voiceMessageMask(param.value);
    }
    call.set("valVoiceMessages", mask);
}

}  // namespace varnolex
