#include "platform/appkit/ImageCoding.h"

#include "platform/appkit/VipsSupport.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <type_traits>

#include <dlfcn.h>

namespace vitrel {

namespace {

// Beyond it, files grow and nobody sees a difference on a cover.
constexpr int kJpegQuality = 90;

// Where the library looks for its modules: readers of formats that nobody here asks for, whose dozens of libraries cost
// a start a tenth of a second and every file that is opened the sum of their faults. Set before there is a second
// thread: the library, started by a worker, would set it itself if nothing had, and another thread's read of the
// environment be a crash.
[[maybe_unused]] const int vipsHome = setenv("VIPSHOME", "/nonexistent", 1);

const VipsLibrary* startVips()
{
    static VipsLibrary library;
    // Of the interface that its headers describe. Never unloaded: it has threads and data of its own.
    const std::string name = "libvips.so." + std::to_string(VIPS_LIBRARY_CURRENT - VIPS_LIBRARY_AGE);
    void* const file = dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!file)
        return nullptr;
    bool isWhole = true;
    const auto find = [&](const char* symbol, auto& function) {
        function = reinterpret_cast<std::decay_t<decltype(function)>>(dlsym(file, symbol));
        isWhole = isWhole && function;
    };
#define VITREL_FIND(name) find("vips_" #name, library.name);
    VITREL_VIPS_FUNCTIONS(VITREL_FIND)
#undef VITREL_FIND
    // What the library has to say about a broken file is nobody's business on a saver's standard error.
    g_log_set_handler(
        "VIPS", static_cast<GLogLevelFlags>(G_LOG_LEVEL_MASK | G_LOG_FLAG_RECURSION),
        [](const char*, GLogLevelFlags, const char*, void*) {}, nullptr);
    if (!isWhole || library.init("vitrel") != 0)
        return nullptr;
    library.block_untrusted_set(TRUE);
    // Decoding is a small job beside a frame of 16 ms: one thread, and nothing kept. The cache also tells buffers
    // apart by address alone, which a later file may have again.
    library.concurrency_set(1);
    library.cache_set_max(0);
    return &library;
}

bool hasPixels(const Bitmap& bitmap)
{
    return bitmap.width > 0 && bitmap.height > 0
        && bitmap.pixels.size() == std::size_t(bitmap.width) * std::size_t(bitmap.height);
}

std::optional<Bytes> takenFile(int failed, void* file, std::size_t size)
{
    std::optional<Bytes> result;
    if (!failed)
        result.emplace(static_cast<std::uint8_t*>(file), static_cast<std::uint8_t*>(file) + size);
    g_free(file);
    vips()->error_clear();
    vips()->thread_shutdown();
    return result;
}

} // namespace

const VipsLibrary* vips()
{
    static const VipsLibrary* const library = startVips();
    return library;
}

void warmImageDecoding()
{
    vips();
}

std::optional<Bytes> pngRepresentation(const Bitmap& bitmap)
{
    const std::size_t count = bitmap.pixels.size();
    if (!hasPixels(bitmap) || !vips())
        return std::nullopt;
    const bool opaque = isOpaque(bitmap);
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
    const VipsImageHandle image(vips()->image_new_from_memory(
        straight.data(), straight.size(), bitmap.width, bitmap.height, bands, VIPS_FORMAT_UCHAR));
    if (!image)
        return std::nullopt;
    image->Type = VIPS_INTERPRETATION_sRGB;
    void* file = nullptr;
    std::size_t size = 0;
    const int failed = vips()->pngsave_buffer(image.get(), &file, &size, "strip", TRUE, nullptr);
    return takenFile(failed, file, size);
}

std::optional<Bytes> jpegRepresentation(const Bitmap& bitmap)
{
    if (!hasPixels(bitmap) || !vips())
        return std::nullopt;
    Bytes rows(bitmap.pixels.size() * 3);
    auto* to = rows.data();
    for (const std::uint32_t word : bitmap.pixels) {
        for (const int shift : {16, 8, 0})
            *to++ = static_cast<std::uint8_t>(word >> shift);
    }
    const VipsImageHandle image(
        vips()->image_new_from_memory(rows.data(), rows.size(), bitmap.width, bitmap.height, 3, VIPS_FORMAT_UCHAR));
    if (!image)
        return std::nullopt;
    image->Type = VIPS_INTERPRETATION_sRGB;
    void* file = nullptr;
    std::size_t size = 0;
    const int failed = vips()->jpegsave_buffer(image.get(), &file, &size, "Q", kJpegQuality, "strip", TRUE, nullptr);
    return takenFile(failed, file, size);
}

bool isOpaque(const Bitmap& bitmap)
{
    return std::all_of(
        bitmap.pixels.begin(), bitmap.pixels.end(), [](std::uint32_t word) { return word >> 24 == 255; });
}

} // namespace vitrel
