// Artwork as a player, the companion or a feed hands it over: bytes, or base64 text of them.
#include "base/Text.h"
#include "platform/appkit/ImageCoding.h"
#include "platform/appkit/NSImage.h"

#include <cstdlib>

namespace {

void check(vitrel::ByteView data)
{
    const auto image = vitrel::NSImage::imageWithData(data);
    if (!image)
        return;
    const auto& bitmap = *image->representations().front().bitmap();
    if (bitmap.width < 1 || bitmap.height < 1 || bitmap.width > 8192 || bitmap.height > 8192
        || bitmap.pixels.size() != std::size_t(bitmap.width) * std::size_t(bitmap.height))
        std::abort();
    for (const std::uint32_t word : bitmap.pixels)
        if ((word >> 16 & 255) > word >> 24 || (word >> 8 & 255) > word >> 24 || (word & 255) > word >> 24)
            std::abort(); // not premultiplied
    if (bitmap.pixels.size() <= 4096 && !vitrel::pngRepresentation(bitmap))
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    check({data, size});
    if (const auto bytes = vitrel::decodeBase64({reinterpret_cast<const char*>(data), size}))
        check(*bytes);
    return 0;
}
