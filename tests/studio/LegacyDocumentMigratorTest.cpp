#include "platform/DefaultsStore.hpp"
#include "studio/DocumentFixture.hpp"
#include "studio/LegacyDocumentMigrator.hpp"

namespace varnolex {
namespace {

using testing::ElementsAre;

class LegacyDocumentMigratorTest : public DocumentFixture {};

TEST_F(LegacyDocumentMigratorTest, OldWordsBecomeTodaysWords) {
    struct {
        const char* before;
        const char* after;
    } const table[] = {
        {R"({"graphs":[{"graphID":"x","name":"Routing 2"}]})", R"({"modulars":[{"modularID":"x","name":"Studio 2"}]})"},
        {R"({"currentGraphID":1,"monitorState":{"appMode":"flow"}})",
         R"({"activityState":{"appMode":"modular"},"currentModularID":1})"},
        {R"({"a":[[{"kind":"monitor","title":"Monitor"}]]})", R"({"a":[[{"kind":"activity","title":"Activity"}]]})"},
        {R"({"kind":"graph","title":"Routing  12"})", R"({"kind":"modular","title":"Studio  12"})"},
        {R"({"appMode":"monitor","title":"Monitor 3"})", R"({"appMode":"activity","title":"Activity 3"})"},
        {R"({"graphs":1,"modulars":2})", R"({"modulars":2})"},
    };
    for (const auto& row : table) EXPECT_EQ(LegacyDocumentMigrator::migrate(row.before), row.after);
}

TEST_F(LegacyDocumentMigratorTest, EverythingElsePassesUntouched) {
    for (const std::string data :
         {R"({ "name": "Routing Bus", "title": "Routing 2b" })", R"({"name":"Monitor","x":"monitor"})",
          R"({"name":"My Routing","title":"Routing "})", R"({"title":"Routing3","name":["Routing"]})",
          R"([{"graphs":1}])", R"("graphs")", R"({"graphs":)", ""})
        EXPECT_EQ(LegacyDocumentMigrator::migrate(data), data);
    const std::string deep(100'000, '[');
    EXPECT_EQ(LegacyDocumentMigrator::migrate(deep), deep);
    EXPECT_TRUE(logged.empty());
}

TEST_F(LegacyDocumentMigratorTest, AnOldDocumentIsReadInTodaysWords) {
    const ModularDocument document = corpusDocument("old-graphs-and-monitors.varnolex");
    EXPECT_EQ(document.modulars.at(0).name, "Studio 2");
    EXPECT_EQ(document.currentModularID, numberedID(3));
    EXPECT_EQ(document.activityState->appMode, "activity");
    EXPECT_EQ(document.tabs->at(0).kind, "activity");
    EXPECT_EQ(document.tabs->at(0).title, "Activity 3");
    EXPECT_EQ(document.tabs->at(2).modularID, numberedID(3));
    ASSERT_EQ(logged.size(), 1u);
    EXPECT_THAT(logged[0], testing::MatchesRegex("Migrated legacy document: [0-9]+ → [0-9]+ bytes"));
}

TEST_F(LegacyDocumentMigratorTest, PreferencesAreRenamedOnce) {
    DefaultsStore defaults{{}};
    defaults.setString("monitor.color.noteOn", "red");
    defaults.setString("monitor.color.cc", "old");
    defaults.setString("activity.color.cc", "new");
    defaults.setBoolean("showFlowParticles", false);
    defaults.setString("defaultAppMode", "flow");
    LegacyDocumentMigrator::migrateUserDefaults(defaults);
    EXPECT_THAT(logged, ElementsAre("Migrated UserDefaults key: monitor.color.noteOn → activity.color.noteOn",
                                    "Migrated UserDefaults key: showFlowParticles → showModularParticles",
                                    "Migrated defaultAppMode: flow → modular"));
    logged.clear();
    LegacyDocumentMigrator::migrateUserDefaults(defaults);
    EXPECT_TRUE(logged.empty());
    EXPECT_EQ(defaults.string("activity.color.noteOn"), "red");
    EXPECT_EQ(defaults.string("activity.color.cc"), "new");
    EXPECT_EQ(defaults.json("monitor.color.cc"), std::nullopt);
    EXPECT_EQ(defaults.boolean("showModularParticles"), false);
    EXPECT_EQ(defaults.string("defaultAppMode"), "modular");
}

}  // namespace
}  // namespace varnolex
