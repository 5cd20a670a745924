#pragma once

#include <vips/vips.h>

#include <memory>

namespace vitrel {

// Makes the library ready, once; false if it can't be. Any thread.
bool vipsReady();

struct VipsImageRelease {
    void operator()(VipsImage* image) const { g_object_unref(image); }
};
using VipsImageHandle = std::unique_ptr<VipsImage, VipsImageRelease>;

} // namespace vitrel
