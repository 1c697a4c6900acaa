#pragma once

#include <sstream>

#include "tools/Dialogue.hpp"

namespace varnolex::testing {

/// What left since the last call, each with the millisecond at which it did: "0: - |, 70: 80 3C 00 |".
inline std::string timedText(ChainProbe& probe, HostTime beginning) {
    std::string text;
    for (const Exited& one : probe.exited) {
        const HostTime micros = (one.at - beginning) / 1000;
        const std::string rest = micros % 1000 == 0 ? "" : "." + std::to_string(micros % 1000);
        text += (text.empty() ? "" : ", ") + std::to_string(micros / 1000) + rest + ": " + textOf(one);
    }
    probe.exited.clear();
    return text;
}

/// Plays messages that are written in the same way, waits until everything has left, and returns all that did.
inline std::string play(ChainProbe& probe, const std::string& script) {
    probe.exited.clear();
    const HostTime beginning = probe.runtime.hostTime();
    std::istringstream messages(script);
    for (std::string message; std::getline(messages, message, ',');) {
        std::istringstream words(message);
        HostTime milliseconds = 0;
        char colon = 0;
        words >> milliseconds >> colon;
        std::vector<std::uint8_t> bytes;
        std::string word;
        while (words >> word && word != "|") bytes.push_back(static_cast<std::uint8_t>(std::stoi(word, nullptr, 16)));
        probe.runtime.runUntil(beginning + milliseconds * 1'000'000);
        probe.send(bytes, word == "|");
    }
    probe.runtime.runFor(std::chrono::seconds(20));
    EXPECT_EQ(probe.runtime.pendingItems(), 0U);
    return timedText(probe, beginning);
}

}  // namespace varnolex::testing
