#pragma once

#include "platform/appkit/Bitmap.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace vitrel {

// The picture scaled down, its proportions kept, so that no side has more than `side` pixels; as it is if none has.
// Each pixel is the mean of the area that it covers. Absent for a bitmap without pixels. Any thread.
std::optional<Bitmap> scaledToFit(const Bitmap& bitmap, int side);

// The part of `width` by `height` pixels from (`left`, `top`) on, `columns` by `rows` pixels of it made one: their
// mean. What is left over at the right and at the bottom makes a pixel, too. The part lies within the bitmap and isn't
// empty; columns and rows are 1 to 16. Any thread.
Bitmap shrunkByBoxes(const Bitmap& bitmap, int left, int top, int width, int height, int columns, int rows);

// `factor` (2 to 4) times as many pixels each way: between the middles of two pixels each channel runs evenly from the
// one to the other, to within two steps of 255. `from` has no gaps between its rows; writes rows `first` to `end` - 1
// of the result, `wordsPerRow` apart from `to` on, which is where row 0 goes, and of each its first `width` words. The
// result may end within the last pixel of `from`, no further. Any thread, several at once for other rows.
void enlarge(const Bitmap& from, int factor, std::uint32_t* to, int width, std::size_t wordsPerRow, int first, int end);

} // namespace vitrel
