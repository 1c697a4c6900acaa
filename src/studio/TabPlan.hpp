#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "studio/ModularDocument.hpp"

namespace varnolex {

/// One tab that a document asks for.
struct PlannedTab {
    /// The graph of a Studio tab; nothing makes it an Activity tab.
    std::optional<UUID> modularID;
    std::string title;
    std::optional<bool> sidebarCollapsed;
    std::optional<double> sidebarWidth;
    /// Of an Activity tab; nothing stands for the state of a new one.
    std::optional<ModularDocument::ActivityState> activityState;
    /// Which of the document's tabs it is, if that has any.
    std::size_t position = 0;

    bool operator==(const PlannedTab&) const = default;
};

struct TabPlan {
    std::vector<PlannedTab> tabs;
    /// Into `tabs`; meaningless when there are none.
    std::size_t selectedIndex = 0;
    /// A sentence for each tab of the document that isn't opened.
    std::vector<std::string> dropped;
};

/// Which tabs to open for a document, and which to select.
TabPlan planTabs(const ModularDocument& document);

}  // namespace varnolex
