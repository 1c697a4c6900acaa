#include "studio/TabPlan.hpp"

#include <algorithm>

namespace varnolex {
namespace {

const ModularDocument::ModularSnapshot* findModular(const ModularDocument& document, const std::optional<UUID>& id) {
    const auto found = std::ranges::find_if(document.modulars, [&](const auto& each) { return each.id == id; });
    return found == document.modulars.end() ? nullptr : &*found;
}

PlannedTab studioTab(const ModularDocument::ModularSnapshot& modular) {
    PlannedTab tab;
    tab.modularID = modular.id;
    tab.title = modular.name;
    return tab;
}

/// Files from before there were tabs: one for each graph, and the one Activity view ahead of them.
TabPlan planWithoutTabs(const ModularDocument& document) {
    TabPlan plan;
    if (document.activityState && document.activityState->appMode == "activity") {
        PlannedTab activity;
        activity.title = "Activity";
        activity.activityState = document.activityState;
        plan.tabs.push_back(std::move(activity));
    }
    std::ranges::transform(document.modulars, std::back_inserter(plan.tabs), studioTab);
    return plan;
}

class Planner {
public:
    explicit Planner(const ModularDocument& source) : document(source), spareState(source.activityState) {}

    TabPlan plan() {
        const auto& storedTabs = *document.tabs;
        for (std::size_t position = 0; position < storedTabs.size(); ++position) {
            auto tab = tabFor(storedTabs[position]);
            if (!tab) {
                result.dropped.push_back("The tab \"" + storedTabs[position].title + "\" of kind \"" +
                                         storedTabs[position].kind + "\" isn't opened.");
                continue;
            }
            tab->position = position;
            if (document.selectedTabIndex == static_cast<std::int64_t>(position))
                result.selectedIndex = result.tabs.size();
            result.tabs.push_back(std::move(*tab));
        }
        return std::move(result);
    }

private:
    std::optional<PlannedTab> tabFor(const ModularDocument::TabSpec& stored) {
        std::optional<PlannedTab> tab;
        if (stored.kind == "activity" && stored.title != "Welcome") {
            tab.emplace().title = stored.title;
            tab->activityState = stored.activityState ? stored.activityState : std::exchange(spareState, std::nullopt);
        } else if (const auto* modular = stored.kind == "modular" ? findModular(document, stored.modularID) : nullptr) {
            tab = studioTab(*modular);
        }
        if (!tab) return std::nullopt;
        tab->sidebarCollapsed = stored.sidebarCollapsed;
        tab->sidebarWidth = stored.sidebarWidth;
        return tab;
    }

    const ModularDocument& document;
    /// The document's own state, for the first Activity tab that comes without one.
    std::optional<ModularDocument::ActivityState> spareState;
    TabPlan result;
};

}  // namespace

TabPlan planTabs(const ModularDocument& document) {
    if (!document.tabs || document.tabs->empty()) return planWithoutTabs(document);
    return Planner(document).plan();
}

}  // namespace varnolex
