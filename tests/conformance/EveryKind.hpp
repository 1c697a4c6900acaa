#pragma once

#include <gtest/gtest.h>

#include "engine/Catalogue.hpp"
#include "platform/RandomGenerator.hpp"
#include "support/ChainProbe.hpp"
#include "support/ToolExercise.hpp"

namespace varnolex::testing {

/// What every kind of the catalogue has to hold.
class EveryKind : public ::testing::TestWithParam<ToolKind> {
protected:
    PipeToolType type() const { return GetParam().type; }
    bool hasOutput() const { return GetParam().hasOutput; }
};

/// Choices that follow a seed.
class SeededDraws : public Draws {
public:
    explicit SeededDraws(std::uint64_t seed)
        : Draws([random = RandomGenerator(seed)]() mutable { return random.next(); }) {}
};

inline std::string nameOfKind(const ::testing::TestParamInfo<ToolKind>& info) {
    return std::string(info.param.caseName);
}

/// The rows that stand for something in the record.
inline std::vector<const Parameter*> recordRows(const PipeTool& tool) {
    std::vector<const Parameter*> rows;
    for (const Parameter& row : tool.definition().parameters)
        if (!row.key.empty()) rows.push_back(&row);
    return rows;
}

}  // namespace varnolex::testing
