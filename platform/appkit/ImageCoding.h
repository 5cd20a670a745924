#pragma once

#include "base/Bytes.h"
#include "platform/appkit/Bitmap.h"

#include <optional>

namespace vitrel {

// Starts the image library, which takes 20 to 80 ms. Everything here does so when it is first needed; a program that
// counts its milliseconds calls this on a worker at its start. Any thread, any number of times.
void warmImageDecoding();

// The picture as a PNG file, 8 bits a channel, with an alpha channel only if a pixel isn't opaque. Absent for a
// bitmap without pixels. Any thread.
std::optional<Bytes> pngRepresentation(const Bitmap& bitmap);

// The picture as a JPEG file of good quality; what shines through shows black. Absent for a bitmap without pixels.
// Any thread.
std::optional<Bytes> jpegRepresentation(const Bitmap& bitmap);

// Whether no pixel lets anything shine through.
bool isOpaque(const Bitmap& bitmap);

} // namespace vitrel
