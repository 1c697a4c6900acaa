#pragma once

#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "engine/PipeToolType.hpp"

namespace varnolex {

/// What is known of a kind of tool before any tool exists.
struct ToolKind {
    struct Size {
        double width;
        double height;
    };

    PipeToolType type;
    std::string_view caseName;
    /// The form in which documents and drags name the kind.
    std::string_view rawValue;
    std::string_view displayName;
    /// What a new tool of the kind is called.
    std::string_view defaultName;
    /// The palette group.
    std::string_view category;
    std::string_view iconName;
    /// Whether a MIDI cable may enter or leave a node of the kind.
    bool hasInput;
    bool hasOutput;
    /// The smallest size of a node on the canvas, in points.
    Size nodeSize;
    /// One line for help and tool tips.
    std::string_view description;
};

/// All kinds, in order: entry n has index n.
std::span<const ToolKind> allToolKinds();

const ToolKind& toolKind(PipeToolType type);

/// The kind with this raw value; nothing for an unknown text.
std::optional<PipeToolType> toolTypeFromRawValue(std::string_view rawValue);

/// The kind that a person names: by raw value, case name or display name, in that order, without regard to case.
std::optional<PipeToolType> toolTypeFromAnyName(std::string_view name);

/// The kind that a drag carries. A drag with an unknown text yields a MIDI input.
PipeToolType toolTypeFromDrag(std::string_view rawValue);

/// The pasteboard type of a drag from the palette to the canvas.
inline constexpr std::string_view paletteDragType = "app.varnolex.palette-tool";

struct PaletteGroup {
    std::string_view name;
    std::vector<PipeToolType> kinds;
};

/// The palette: every kind that can be chosen, by group, both in order.
const std::vector<PaletteGroup>& paletteGroups();

/// The palette reduced to the kinds whose display name contains the query, without regard to case. An empty query
/// keeps everything; a group without a match is left out.
std::vector<PaletteGroup> searchPalette(std::string_view query);

/// The kinds that can be inserted into a chain: the palette without the groups that don't belong inside one,
/// reduced by a query as above.
std::vector<PaletteGroup> chainPickerGroups(std::string_view query = {});

}  // namespace varnolex
