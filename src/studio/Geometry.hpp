#pragma once

namespace varnolex {

/// A place on the canvas, in points; y grows downward.
struct Point {
    double x = 0;
    double y = 0;
    bool operator==(const Point&) const = default;
};

/// In points.
struct Size {
    double width = 0;
    double height = 0;
    bool operator==(const Size&) const = default;
};

}  // namespace varnolex
