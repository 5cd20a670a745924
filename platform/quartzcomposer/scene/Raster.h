#pragma once

#include "platform/quartzcomposer/scene/Canvas.h"
#include "platform/quartzcomposer/scene/Matrix.h"

#include <optional>

namespace vitrel::qc {

enum class PolygonMode : std::uint8_t { Filled, Lines, Points };

// What the tools of third parties change for their nodes, beyond what environments do: how corners become pixels.
struct Raster {
    PolygonMode front = PolygonMode::Filled, back = PolygonMode::Filled;
    float lineWidth = 1, pointSize = 1; // of the polygons that aren't filled, pixels
    bool flat = false; // a triangle has the colour of its last corner
    BlendEquation color = BlendEquation::Add, alpha = BlendEquation::Add;
    float discardsUpTo = -1; // alpha; below 0: nothing is discarded
    std::optional<PixelRectangle> scissor, viewport;
    std::optional<Matrix> projection; // in place of the eye and its perspective

    bool changesPolygons() const { return flat || front != PolygonMode::Filled || back != PolygonMode::Filled; }
};

} // namespace vitrel::qc
