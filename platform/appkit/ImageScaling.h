#pragma once

#include "platform/appkit/Bitmap.h"

#include <optional>

namespace vitrel {

// The picture scaled down, its proportions kept, so that no side has more than `side` pixels; as it is if none has.
// Each pixel is the mean of the area that it covers. Absent for a bitmap without pixels. Any thread.
std::optional<Bitmap> scaledToFit(const Bitmap& bitmap, int side);

// The part of `width` by `height` pixels from (`left`, `top`) on, `columns` by `rows` pixels of it made one: their
// mean. What is left over at the right and at the bottom makes a pixel, too. The part lies within the bitmap and isn't
// empty; columns and rows are 1 to 16. Any thread.
Bitmap shrunkByBoxes(const Bitmap& bitmap, int left, int top, int width, int height, int columns, int rows);

} // namespace vitrel
