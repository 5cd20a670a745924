#pragma once

#include "base/Bytes.h"
#include "platform/appkit/Bitmap.h"

#include <memory>
#include <optional>

namespace vitrel {

// Codes of one pixel a module, black on white. Null for a message that doesn't fit, and for an empty one. Any thread.

// `level` is L, M, Q or H. With a border of one module all around.
std::shared_ptr<const Bitmap> qrCodeBitmap(ByteView message, char level);

// The message is ASCII, else null. `quietSpace` and `barHeight` in modules; the space is on all four sides.
std::shared_ptr<const Bitmap> code128Bitmap(ByteView message, int quietSpace, int barHeight);

} // namespace vitrel
