#pragma once

#include <vips/vips.h>

#include <memory>

namespace vitrel {

// The image library, loaded when the first image is read or written: with those that it brings along, and
// nothing else does, it took a third of each start, and a command in a terminal, a supervisor and an idle companion
// never need it.

// What is used of it, without the prefix.
// Moved further in each time otherwise.
// clang-format off
#define VITREL_VIPS_FUNCTIONS(X) \
    X(band_format_iscomplex) X(block_untrusted_set) X(cache_set_max) X(cast_uchar) X(colourspace) X(concurrency_set) \
    X(error_clear) X(format_sizeof) X(gifload_buffer) X(gifsave_target) X(icc_transform) X(image_generate) \
    X(image_get_bands) X(image_get_format) X(image_get_height) X(image_get_int) X(image_get_orientation) \
    X(image_get_typeof) X(image_get_width) X(image_guess_interpretation) X(image_init_fields) X(image_new) \
    X(image_new_from_memory) X(image_pipeline_array) X(image_set_array_int) X(image_set_int) X(init) \
    X(jpegload_buffer) X(jpegsave_buffer) X(pngload_buffer) X(pngsave_buffer) X(region_new) X(region_prepare) \
    X(target_new_to_descriptor) X(thread_shutdown) X(tiffload_buffer) X(webpload_buffer) X(webpsave_target)
// clang-format on

struct VipsLibrary {
#define VITREL_MEMBER(name) decltype(&::vips_##name) name;
    VITREL_VIPS_FUNCTIONS(VITREL_MEMBER)
#undef VITREL_MEMBER
};

// Made ready at the first call; null if it can't be. Any thread.
const VipsLibrary* vips();

struct VipsImageRelease {
    void operator()(VipsImage* image) const { g_object_unref(image); }
};
using VipsImageHandle = std::unique_ptr<VipsImage, VipsImageRelease>;

} // namespace vitrel
