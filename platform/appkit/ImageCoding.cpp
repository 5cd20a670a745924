#include "platform/appkit/ImageCoding.h"

#include "platform/appkit/VipsSupport.h"

#include <algorithm>

namespace vitrel {

namespace {

bool startVips()
{
    // What the library has to say about a broken file is nobody's business on a saver's standard error.
    g_log_set_handler(
        "VIPS", static_cast<GLogLevelFlags>(G_LOG_LEVEL_MASK | G_LOG_FLAG_RECURSION),
        [](const char*, GLogLevelFlags, const char*, void*) {}, nullptr);
    if (vips_init("vitrel") != 0)
        return false;
    vips_block_untrusted_set(TRUE);
    // Decoding is a small job beside a frame of 16 ms: one thread, and nothing kept. The cache also tells buffers
    // apart by address alone, which a later file may have again.
    vips_concurrency_set(1);
    vips_cache_set_max(0);
    return true;
}

} // namespace

bool vipsReady()
{
    static const bool ready = startVips();
    return ready;
}

void warmImageDecoding()
{
    vipsReady();
}

std::optional<Bytes> pngRepresentation(const Bitmap& bitmap)
{
    const std::size_t count = bitmap.pixels.size();
    if (bitmap.width <= 0 || bitmap.height <= 0 || count != std::size_t(bitmap.width) * std::size_t(bitmap.height))
        return std::nullopt;
    if (!vipsReady())
        return std::nullopt;
    const bool opaque
        = std::all_of(bitmap.pixels.begin(), bitmap.pixels.end(), [](std::uint32_t word) { return word >> 24 == 255; });
    const int bands = opaque ? 3 : 4;
    Bytes straight(count * std::size_t(bands));
    auto* to = straight.data();
    for (const std::uint32_t word : bitmap.pixels) {
        const unsigned alpha = word >> 24;
        for (const int shift : {16, 8, 0}) {
            const unsigned channel = word >> shift & 255;
            *to++ = static_cast<std::uint8_t>(alpha == 0 ? 0
                    : alpha == 255                       ? channel
                                                         : std::min(255u, (channel * 255 + alpha / 2) / alpha));
        }
        if (!opaque)
            *to++ = static_cast<std::uint8_t>(alpha);
    }
    const VipsImageHandle image(vips_image_new_from_memory(
        straight.data(), straight.size(), bitmap.width, bitmap.height, bands, VIPS_FORMAT_UCHAR));
    if (!image)
        return std::nullopt;
    image->Type = VIPS_INTERPRETATION_sRGB;
    void* file = nullptr;
    std::size_t size = 0;
    std::optional<Bytes> result;
    if (vips_pngsave_buffer(image.get(), &file, &size, "strip", TRUE, nullptr) == 0)
        result.emplace(static_cast<std::uint8_t*>(file), static_cast<std::uint8_t*>(file) + size);
    g_free(file);
    vips_error_clear();
    vips_thread_shutdown();
    return result;
}

} // namespace vitrel
