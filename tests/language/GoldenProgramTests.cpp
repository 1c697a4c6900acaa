#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "language/CompiledPatchJSON.hpp"
#include "language/DSLCompiler.hpp"
#include "language/Golden.hpp"
#include "support/Places.hpp"

namespace varnolex {
namespace {

namespace fs = std::filesystem;

const fs::path folder = sourceFolder() / "tests/language/golden";

std::string contentsOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<fs::path> goldenPrograms() {
    std::vector<fs::path> programs;
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (entry.path().extension() == ".vxtext") programs.push_back(entry.path());
    }
    std::ranges::sort(programs);
    return programs;
}

/// The compiled program with every node on a line of its own, so that a difference shows where it is.
std::string expectedText(const std::string& program) {
    DSLCompiler compiler;
    compiler.compile(program);
    const std::string json = compiledPatchJSON(compiler);
    std::string lines;
    for (std::size_t at = 0; at < json.size(); ++at) {
        const auto rest = std::string_view(json).substr(at);
        for (const std::string_view begin : {"{\"toolType\"", "],\"connections\"", ",\"valueConnections\""}) {
            if (rest.starts_with(begin)) lines += "\n";
        }
        lines += json[at];
    }
    return lines + "\n";
}

TEST(GoldenPrograms, compileToTheStoredLists) {
    const auto programs = goldenPrograms();
    ASSERT_FALSE(programs.empty());
    for (const auto& program : programs) {
        const auto compiled = expectedText(contentsOf(program));
        auto expected = program;
        expected.replace_extension(".json");
        if (renewGolden) std::ofstream(expected, std::ios::binary) << compiled;
        EXPECT_EQ(compiled, contentsOf(expected)) << program;
    }
}

/// The fenced blocks of a page that hold patch language.
std::vector<std::string> examplesIn(const fs::path& page) {
    std::vector<std::string> examples;
    std::ifstream file(page);
    bool inside = false;
    for (std::string line; std::getline(file, line);) {
        const bool fence = line.starts_with("```");
        if (inside && !fence) examples.back() += line + "\n";
        if (fence && !inside && line == "```vxtext") examples.emplace_back();
        inside = fence ? !inside && line == "```vxtext" : inside;
    }
    return examples;
}

TEST(UserGuide, everyExampleCompiles) {
    const auto examples = examplesIn(sourceFolder() / "docs/patch-language.md");
    ASSERT_GE(examples.size(), 20u);
    for (const auto& example : examples) {
        DSLCompiler compiler;
        EXPECT_NO_THROW(compiler.compile(example)) << example;
        EXPECT_FALSE(compiler.nodes.empty()) << example;
    }
}

}  // namespace
}  // namespace varnolex
