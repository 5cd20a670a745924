#pragma once

#include "platform/appkit/Bitmap.h"

#include <zbar.h>

#include <string>
#include <vector>

namespace vitrel {

// What a reader of codes sees in the picture, magnified and on a white page as it would be printed; empty if nothing.
inline std::string readCode(const Bitmap& bitmap, int times = 4)
{
    constexpr int kPage = 40;
    const int width = bitmap.width * times + 2 * kPage, height = bitmap.height * times + 2 * kPage;
    std::vector<unsigned char> grey(std::size_t(width * height), 255);
    for (int y = 0; y < bitmap.height * times; ++y)
        for (int x = 0; x < bitmap.width * times; ++x)
            grey[std::size_t((y + kPage) * width + x + kPage)]
                = static_cast<unsigned char>(bitmap.pixels[std::size_t(y / times * bitmap.width + x / times)] & 255);
    zbar::ImageScanner scanner;
    scanner.set_config(zbar::ZBAR_NONE, zbar::ZBAR_CFG_ENABLE, 0);
    scanner.set_config(zbar::ZBAR_QRCODE, zbar::ZBAR_CFG_ENABLE, 1);
    scanner.set_config(zbar::ZBAR_CODE128, zbar::ZBAR_CFG_ENABLE, 1);
    zbar::Image image(unsigned(width), unsigned(height), "Y800", grey.data(), grey.size());
    scanner.scan(image);
    for (auto symbol = image.symbol_begin(); symbol != image.symbol_end(); ++symbol)
        return symbol->get_data();
    return {};
}

} // namespace vitrel
