#pragma once

#include "platform/foundation/Geometry.h"

namespace vitrel {

// Four numbers; as a rectangle x, y, width, height.
struct CIVector {
    double x = 0, y = 0, z = 0, w = 0;

    static CIVector vectorWithXYZW(double x, double y, double z, double w) { return {x, y, z, w}; }
    NSRect CGRectValue() const { return makeRect(x, y, z, w); }
    friend bool operator==(const CIVector&, const CIVector&) = default;
};

} // namespace vitrel
