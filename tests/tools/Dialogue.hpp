#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/ChainProbe.hpp"

namespace varnolex::testing {

/// What has left the probe, in one text: "80 3C 00, 90 40 64 |".
inline std::string takenText(ChainProbe& probe) {
    std::string joined;
    for (const std::string& text : probe.taken()) joined += (joined.empty() ? "" : ", ") + text;
    return joined;
}

/// A message that is sent, as the last of its batch, and what it makes leave.
struct Exchange {
    std::vector<std::uint8_t> in;
    std::string out;
};

inline void expectDialogue(ChainProbe& probe, const std::vector<Exchange>& exchanges) {
    for (std::size_t index = 0; index < exchanges.size(); ++index) {
        probe.send(exchanges[index].in);
        EXPECT_EQ(takenText(probe), exchanges[index].out) << "at message " << index;
    }
}

}  // namespace varnolex::testing
