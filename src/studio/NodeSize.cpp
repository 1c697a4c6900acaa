#include "studio/NodeSize.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "engine/Catalogue.hpp"

namespace varnolex {
namespace {

/// Advance widths of the printable ASCII characters in a common sans-serif face, in thousandths of the font size.
/// Sizes have to come out the same on every machine, with or without a display, so no installed font is asked.
constexpr std::array<int, 95> advances{
    278, 278, 355, 556, 556, 889, 667, 191, 333, 333, 389, 584, 278, 333,  278, 278, 556, 556, 556,
    556, 556, 556, 556, 556, 556, 556, 278, 278, 584, 584, 584, 556, 1015, 667, 667, 722, 722, 667,
    611, 778, 722, 278, 500, 667, 556, 833, 722, 778, 667, 778, 722, 667,  611, 722, 667, 944, 667,
    667, 611, 278, 278, 278, 469, 556, 333, 556, 556, 500, 556, 556, 278,  556, 556, 222, 222, 500,
    222, 833, 556, 556, 556, 556, 333, 500, 278, 556, 500, 722, 500, 500,  500, 334, 260, 334, 584,
};
constexpr int otherAdvance = 600;
constexpr double fontSize = 13;

double textWidth(std::string_view text) {
    int thousandths = 0;
    for (const char letter : text) {
        const auto code = static_cast<unsigned char>(letter);
        const bool continuesCharacter = (code & 0xC0) == 0x80;
        if (continuesCharacter) continue;
        thousandths += code >= 32 && code < 127 ? advances[code - 32u] : otherAdvance;
    }
    return thousandths * fontSize / 1000;
}

/// What stands beside the name in a node's title row.
double titleRowExtra(PipeToolType type) { return type == PipeToolType::script ? 141 : 119; }

}  // namespace

Size newNodeSize(PipeToolType type, std::string_view name) {
    const ToolKind::Size& usual = toolKind(type).nodeSize;
    const double forName = std::ceil((titleRowExtra(type) + textWidth(name)) / 10) * 10;
    return {std::max(usual.width, forName), usual.height};
}

Size restoredNodeSize(PipeToolType type, std::string_view name, Size stored) {
    return {std::max(stored.width, newNodeSize(type, name).width), stored.height};
}

}  // namespace varnolex
