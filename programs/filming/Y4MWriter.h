#pragma once

#include "base/Bytes.h"
#include "programs/filming/FilmFormat.h"

#include <string>

namespace vitrel {

// YUV4MPEG2, as video encoders read it: 4:2:0 with its chroma in the middle of four pixels, BT.601, 16 to 235.
class Y4MWriter
{
public:
    static std::string headerFor(const FilmFormat& format);
    static std::size_t bytesOfFrame(int width, int height);
    // A frame with its own header: words 0x??RRGGBB, top row first.
    static void append(Bytes& out, const std::uint32_t* pixels, int width, int height);
};

} // namespace vitrel
