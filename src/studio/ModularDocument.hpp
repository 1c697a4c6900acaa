#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "engine/CCBinding.hpp"
#include "platform/UUID.hpp"
#include "studio/Geometry.hpp"
#include "studio/Modular.hpp"

namespace varnolex {

/// What a file of ours holds: a document, a patch, the session's safety copy or the template of new documents. Plain
/// values, in the terms of the format, with no tie to the tools that they describe.
struct ModularDocument {
    struct NodeSnapshot {
        UUID id{};
        /// The raw value of the tool's kind; a file may hold one that this build doesn't know.
        std::string toolType{};
        std::string name{};
        bool isEnabled = true;
        Point position{};
        Size size{};
        /// The tool's record as JSON text.
        std::optional<std::string> configData{};
        ToolBindings ccBindings{};

        bool operator==(const NodeSnapshot&) const = default;
    };

    using ConnectionSnapshot = ModularConnection;
    using ValueConnectionSnapshot = ValueConnection;

    struct ModularSnapshot {
        UUID id{};
        std::string name{};
        std::vector<NodeSnapshot> nodes{};
        std::vector<ConnectionSnapshot> connections{};
        std::vector<ValueConnectionSnapshot> valueConnections{};
        std::optional<double> canvasPanX{};
        std::optional<double> canvasPanY{};
        std::optional<double> canvasZoom{};
        /// "chains" or "modular"; anything else means nothing.
        std::optional<std::string> displayMode{};
        std::vector<UUID> chainOrder{};
        std::vector<UUID> expandedNodeIDs{};

        bool operator==(const ModularSnapshot&) const = default;
    };

    /// What an Activity tab shows.
    struct ActivityState {
        std::string appMode = "activity";
        std::vector<std::int32_t> selectedSourceIDs{};
        std::vector<std::int32_t> selectedListenerDestinationIDs{};
        std::optional<std::vector<std::string>> selectedVirtualInputNames{};
        std::uint32_t filterTypeMask = 0;
        /// Bit n is channel n + 1.
        std::uint16_t filterChannelMask = 0;
        std::uint8_t filterMPEZone = 0;
        std::optional<std::string> viewMode{};
        std::optional<bool> showTable{};
        std::optional<bool> showDashboard{};
        std::optional<bool> isPaused{};

        bool operator==(const ActivityState&) const = default;
    };

    struct TabSpec {
        /// "activity" or "modular"; older files hold others.
        std::string kind{};
        std::optional<UUID> modularID{};
        std::string title{};
        std::optional<bool> sidebarCollapsed{};
        /// In points.
        std::optional<double> sidebarWidth{};
        std::optional<ActivityState> activityState{};

        bool operator==(const TabSpec&) const = default;
    };

    /// Written into every file. A reader takes any number: whatever it says, the keys decide.
    static constexpr int version = 1;

    std::vector<ModularSnapshot> modulars{};
    std::optional<UUID> currentModularID{};
    /// The state of the current tab, if that is an Activity tab.
    std::optional<ActivityState> activityState{};
    /// Absent in old files and in patches.
    std::optional<std::vector<TabSpec>> tabs{};
    /// Into `tabs`.
    std::optional<std::int64_t> selectedTabIndex{};

    bool operator==(const ModularDocument&) const = default;
};

}  // namespace varnolex
