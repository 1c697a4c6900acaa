#include <regex>

#include "ProgramTest.hpp"

// The gallery of the README is the list of what is tried here: each of its calls of `varnolex render`, and what came of
// it, kept in tests/corpus/gallery. With VARNOLEX_RENEW=1 in the environment the kept output is written anew.

namespace varnolex::testing {
namespace {

using GalleryTest = ProgramTest;

const std::filesystem::path keptFolder = sourceFolder() / "tests/corpus/gallery";

std::string contentsOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// The words behind "varnolex" in the tables of the README, a list a call.
std::vector<std::vector<std::string>> galleryCalls() {
    const std::string readme = contentsOf(sourceFolder() / "README.md");
    const std::regex call("\n\\|[^\n]*`varnolex (render [^`]*)`");
    const std::regex word("\"([^\"]*)\"|(\\S+)");
    std::vector<std::vector<std::string>> calls;
    for (std::sregex_iterator found(readme.begin(), readme.end(), call), end; found != end; ++found) {
        const std::string text = (*found)[1];
        std::vector<std::string> words;
        for (std::sregex_iterator each(text.begin(), text.end(), word); each != end; ++each) {
            std::string plain = (*each)[1].matched ? (*each)[1] : (*each)[2];
            words.push_back(plain.starts_with("examples/") ? (sourceFolder() / plain).string() : plain);
        }
        calls.push_back(std::move(words));
    }
    return calls;
}

TEST_F(GalleryTest, RendersWhatItDid) {
    const bool isRenewing = std::getenv("VARNOLEX_RENEW") != nullptr;
    const auto calls = galleryCalls();
    EXPECT_GE(calls.size(), 20U);
    std::set<std::filesystem::path> kept;
    for (const auto& words : calls) {
        SCOPED_TRACE(words[1]);
        const std::filesystem::path expected =
            keptFolder / std::filesystem::path(words[1]).filename().replace_extension(".out");
        EXPECT_TRUE(kept.insert(expected).second) << "shown twice";
        const Outcome outcome = run(words);
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        if (isRenewing) std::ofstream(expected, std::ios::binary) << outcome.output;
        EXPECT_EQ(outcome.output, contentsOf(expected));
        EXPECT_NE(outcome.output, "");
    }
    // What nothing makes any more is no evidence of anything.
    for (const auto& entry : std::filesystem::directory_iterator(keptFolder))
        EXPECT_TRUE(kept.contains(entry.path())) << entry.path();
}

TEST_F(GalleryTest, ShowsEveryExample) {
    const std::string readme = contentsOf(sourceFolder() / "README.md");
    for (const auto& entry : std::filesystem::directory_iterator(sourceFolder() / "examples")) {
        if (!entry.path().has_extension()) continue;
        const std::string name = entry.path().stem();
        EXPECT_NE(readme.find("examples/" + name + "."), std::string::npos) << "the README doesn't mention " << name;
    }
}

}  // namespace
}  // namespace varnolex::testing
