#pragma once

#include "tools/Dialogue.hpp"

namespace varnolex::testing {

/// What a tool with these settings and live values, beside those of a new one, answers.
struct ToolCase {
    std::vector<ParameterAssignment> settings;
    std::vector<std::pair<std::string_view, double>> lives;
    std::vector<Exchange> exchanges;
};

inline void expectCases(PipeToolType type, const std::vector<ToolCase>& cases) {
    for (std::size_t index = 0; index < cases.size(); ++index) {
        SCOPED_TRACE("case " + std::to_string(index));
        ChainProbe probe(type);
        setParameters(*probe.tool, cases[index].settings);
        for (const auto& [key, value] : cases[index].lives) probe.tool->setLiveValue(value, key);
        expectDialogue(probe, cases[index].exchanges);
    }
}

}  // namespace varnolex::testing
