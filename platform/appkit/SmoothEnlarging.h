#pragma once

#include "platform/appkit/Bitmap.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vitrel {

// A picture in which nothing is sharp, kept with a quarter of the pixels each way, and given out whole in strips. What
// rounding left in its pixels is smoothed away, and what is between two steps of 255 is shown by a pattern of both, too
// fine to be seen, so that no bands and no spots appear however slowly the picture changes. Premultiplied, and stays
// so.
class SmoothEnlarging
{
public:
    static constexpr int kFactor = 4;

    // Takes over what `from` shows; rows without gaps, at least one pixel. Keeps its memory from one to the next.
    void take(const Bitmap& from);
    // Writes rows `first` to `end` - 1 of the whole picture, `width` words each, one after the other. The whole may end
    // within the last pixel of what was taken, no further.
    void write(std::uint32_t* to, int width, int first, int end) const;

private:
    using Channel = std::uint16_t; // in 16ths of a step of 255
    static void extend(Channel* beyond, const Channel* edge, const Channel* inner);
    // -1 and the number of rows are those beyond.
    void enlargeRow(int row, std::vector<Channel>& to) const;

    int columns_ = 0, rows_ = 0;
    std::vector<Channel> channels_; // with a pixel beyond each end of a row, and a row beyond both
};

} // namespace vitrel
