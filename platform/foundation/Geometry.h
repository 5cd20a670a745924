#pragma once

namespace vitrel {

// Points, y upwards.
struct NSPoint {
    double x = 0, y = 0;
    friend bool operator==(const NSPoint&, const NSPoint&) = default;
};

struct NSSize {
    double width = 0, height = 0;
    friend bool operator==(const NSSize&, const NSSize&) = default;
};

// The origin is the lower left corner.
struct NSRect {
    NSPoint origin;
    NSSize size;
    friend bool operator==(const NSRect&, const NSRect&) = default;
};

inline NSRect makeRect(double x, double y, double width, double height)
{
    return {{x, y}, {width, height}};
}

} // namespace vitrel
