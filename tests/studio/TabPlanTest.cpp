#include "studio/DocumentFixture.hpp"
#include "studio/TabPlan.hpp"

namespace varnolex {
namespace {

using State = ModularDocument::ActivityState;

ModularDocument documentWith(std::vector<ModularDocument::TabSpec> tabs, std::optional<std::int64_t> selected = {}) {
    ModularDocument document;
    document.modulars = {{.id = numberedID(1), .name = "One"}, {.id = numberedID(2), .name = "Two"}};
    document.tabs = std::move(tabs);
    document.selectedTabIndex = selected;
    return document;
}

/// Titles in a row, the selected one in brackets.
std::string shownBy(const TabPlan& plan) {
    std::string text;
    for (std::size_t index = 0; index < plan.tabs.size(); ++index)
        text += index == plan.selectedIndex ? '[' + plan.tabs[index].title + ']' : plan.tabs[index].title;
    return text;
}

TEST(TabPlanTest, TabsThatCanNotBeOpenedVanishAndTheSelectionFallsBackToTheFirst) {
    const std::vector<ModularDocument::TabSpec> tabs{{.kind = "activity", .title = "Welcome"},
                                                     {.kind = "scope", .title = "Scope"},
                                                     {.kind = "activity", .title = "A"},
                                                     {.kind = "modular", .modularID = numberedID(3), .title = "Gone"},
                                                     {.kind = "modular", .modularID = numberedID(2), .title = "Old"},
                                                     {.kind = "modular", .title = "None"}};
    for (const auto& [selected, shown] : std::vector<std::pair<std::optional<std::int64_t>, std::string>>{
             {0, "[A]Two"}, {1, "[A]Two"}, {2, "[A]Two"}, {4, "A[Two]"}, {6, "[A]Two"}, {-1, "[A]Two"}, {{}, "[A]Two"}})
        EXPECT_EQ(shownBy(planTabs(documentWith(tabs, selected))), shown) << selected.value_or(-99);
    EXPECT_EQ(planTabs(documentWith(tabs)).dropped.size(), 4u);
}

TEST(TabPlanTest, TheDocumentsActivityStateGoesToTheFirstTabWithoutOne) {
    ModularDocument document =
        documentWith({{.kind = "activity", .title = "A", .activityState = State{.filterMPEZone = 1}},
                      {.kind = "activity", .title = "B"},
                      {.kind = "activity", .title = "C"}});
    document.activityState = State{.filterMPEZone = 2};
    const TabPlan plan = planTabs(document);
    EXPECT_EQ(plan.tabs.at(0).activityState->filterMPEZone, 1);
    EXPECT_EQ(plan.tabs.at(1).activityState->filterMPEZone, 2);
    EXPECT_EQ(plan.tabs.at(2).activityState, std::nullopt);
}

TEST(TabPlanTest, ADocumentWithoutTabsOpensItsGraphsBehindItsActivity) {
    ModularDocument document = documentWith({});
    EXPECT_EQ(shownBy(planTabs(document)), "[One]Two");
    document.tabs.reset();
    document.activityState = State{};
    EXPECT_EQ(shownBy(planTabs(document)), "[Activity]OneTwo");
    document.activityState->appMode = "modular";
    EXPECT_EQ(shownBy(planTabs(document)), "[One]Two");
    EXPECT_TRUE(planTabs({}).tabs.empty());
}

}  // namespace
}  // namespace varnolex
