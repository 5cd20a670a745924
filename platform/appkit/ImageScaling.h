#pragma once

#include "platform/appkit/Bitmap.h"

#include <optional>

namespace vitrel {

// The picture scaled down, its proportions kept, so that no side has more than `side` pixels; as it is if none has.
// Each pixel is the mean of the area that it covers. Absent for a bitmap without pixels. Any thread.
std::optional<Bitmap> scaledToFit(const Bitmap& bitmap, int side);

} // namespace vitrel
