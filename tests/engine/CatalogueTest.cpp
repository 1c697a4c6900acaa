#include <gtest/gtest.h>

#include <algorithm>

#include "engine/Catalogue.hpp"

namespace varnolex::testing {
namespace {

std::size_t kindsIn(const std::vector<PaletteGroup>& groups) {
    std::size_t count = 0;
    for (const PaletteGroup& group : groups) {
        EXPECT_FALSE(group.kinds.empty()) << group.name;
        count += group.kinds.size();
    }
    return count;
}

TEST(Catalogue, standsInTheOrderOfItsIndices) {
    ASSERT_EQ(allToolKinds().size(), 59u);
    for (std::size_t index = 0; index < allToolKinds().size(); ++index)
        EXPECT_EQ(indexOf(allToolKinds()[index].type), index);
}

TEST(Catalogue, findsAKindByAnyOfItsNamesButARawValueOnlyToTheLetter) {
    EXPECT_EQ(toolTypeFromAnyName("LFO"), PipeToolType::lfo);
    EXPECT_EQ(toolTypeFromAnyName("note map"), PipeToolType::keyMapper);
    EXPECT_EQ(toolTypeFromAnyName("KEYMAPPER"), PipeToolType::keyMapper);
    EXPECT_EQ(toolTypeFromAnyName("timingclock"), PipeToolType::timingClock);
    EXPECT_EQ(toolTypeFromAnyName(""), std::nullopt);
    EXPECT_EQ(toolTypeFromRawValue("Transpose"), PipeToolType::transpose);
    EXPECT_EQ(toolTypeFromRawValue("transpose"), std::nullopt);
    EXPECT_EQ(toolTypeFromDrag("TimingClock"), PipeToolType::timingClock);
    EXPECT_EQ(toolTypeFromDrag("anything"), PipeToolType::midiIn);
}

TEST(Catalogue, searchesThePaletteWithoutRegardToCase) {
    EXPECT_EQ(kindsIn(searchPalette("")), kindsIn(paletteGroups()));
    const auto found = searchPalette("sPLIt");
    for (const PaletteGroup& group : found)
        for (const PipeToolType type : group.kinds)
            EXPECT_NE(toolKind(type).displayName.find("Split"), std::string_view::npos);
    EXPECT_GE(kindsIn(found), 1u);
    EXPECT_TRUE(searchPalette("no such tool").empty());
}

TEST(Catalogue, offersNoEndsOfAChainInsideOne) {
    for (const PaletteGroup& group : chainPickerGroups())
        for (const PipeToolType type : group.kinds) {
            EXPECT_TRUE(toolKind(type).hasInput) << toolKind(type).caseName;
            EXPECT_TRUE(toolKind(type).hasOutput) << toolKind(type).caseName;
        }
    EXPECT_LT(kindsIn(chainPickerGroups()), kindsIn(paletteGroups()));
    EXPECT_GT(kindsIn(chainPickerGroups("split")), 0u);
}

}  // namespace
}  // namespace varnolex::testing
