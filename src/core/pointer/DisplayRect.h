#pragma once

#include <cmath>

namespace quillvane {

// One display's bounds in the global display space: points, origin at the top-left of the main
// display, y growing downwards. The platform layer fills these from its display list.
struct DisplayRect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    double minX() const { return x; }
    double minY() const { return y; }
    double maxX() const { return x + width; }
    double maxY() const { return y + height; }

    // A rectangle that holds no point (zero or negative size, or bounds that are not finite) takes
    // no part in clamping: there is nowhere on it to put the pointer.
    bool isUsable() const {
        return std::isfinite(minX()) && std::isfinite(minY()) && std::isfinite(maxX()) &&
               std::isfinite(maxY()) && minX() < maxX() && minY() < maxY();
    }

    // Half-open on both axes, so two displays that touch never both contain their shared edge.
    bool contains(double px, double py) const {
        return minX() <= px && px < maxX() && minY() <= py && py < maxY();
    }

    friend bool operator==(const DisplayRect&, const DisplayRect&) = default;
};

} // namespace quillvane
