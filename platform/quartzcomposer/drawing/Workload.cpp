#include "platform/quartzcomposer/drawing/Workload.h"

#include <epoxy/gl.h>

namespace vitrel::qc {

void Workload::begin(Time end)
{
    end_ = end;
    late_ = false;
}

void Workload::spend(double pixels)
{
    pixels_ += pixels;
    if (pixels_ < kPixels)
        return;
    pixels_ = 0;
    glFinish();
    late_ = late_ || std::chrono::steady_clock::now() > end_;
}

} // namespace vitrel::qc
