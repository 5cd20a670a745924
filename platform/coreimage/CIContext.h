#pragma once

#include "platform/coreimage/CIImage.h"

namespace vitrel {

// Where recipes become pixels.
class CIContext
{
public:
    // The pixels of `rect`, whole ones: one that is cut is there. Takes what time it takes, on up to four threads. Null
    // for a rectangle without area, of more than 8192 pixels a side or 16 megapixels, and for a recipe that needs far
    // more pixels than it gives. Any thread.
    std::shared_ptr<const Bitmap> createCGImageFromRect(const CIImage& image, NSRect rect) const;

    // How wide and high that would be; 0 and 0 where it gives nothing for its size.
    struct Size {
        int width = 0, height = 0;
    };
    static Size pixelsOfRect(NSRect rect);
};

} // namespace vitrel
