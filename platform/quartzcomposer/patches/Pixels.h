#pragma once

#include "platform/appkit/Bitmap.h"
#include "platform/foundation/Value.h"

namespace vitrel::qc {

// Straight components of a premultiplied pixel.
NSColor straight(std::uint32_t pixel);

// Scaled to the size: each pixel is the mean of what it covers, or between its neighbours where the size grows.
Bitmap resampled(const Bitmap& from, int width, int height);

// The middle of a bitmap, of at most the size.
Bitmap centred(const Bitmap& from, int width, int height);

} // namespace vitrel::qc
