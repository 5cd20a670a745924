#include "platform/coreimage/CodeGenerators.h"

#include <qrencode.h>
#include <zint.h>

#include <algorithm>

namespace vitrel {

namespace {

constexpr std::uint32_t kBlack = 0xFF000000, kWhite = 0xFFFFFFFF;
// What the largest symbol holds at the lowest level of correction (ISO/IEC 18004, table 7); the library is told no
// more.
constexpr std::size_t kMostQRMessage = 2953;
// The library's own bound for this code is below it, and its tables are of fixed size.
constexpr std::size_t kMostBarcodeMessage = 256;
// Start, 60 symbols, check and stop: what a code may hold is the same with each version of the library.
constexpr int kMostBarcodeModules = 11 + 60 * 11 + 11 + 13;

struct ReleaseCode {
    void operator()(QRcode* code) const { QRcode_free(code); }
    void operator()(zint_symbol* symbol) const { ZBarcode_Delete(symbol); }
};

std::shared_ptr<Bitmap> whiteBitmap(int width, int height)
{
    return std::make_shared<Bitmap>(
        Bitmap{width, height, std::vector<std::uint32_t>(std::size_t(width) * std::size_t(height), kWhite)});
}

} // namespace

std::shared_ptr<const Bitmap> qrCodeBitmap(ByteView message, char level)
{
    if (message.empty() || message.size() > kMostQRMessage)
        return nullptr;
    const QRecLevel correction = level == 'L' ? QR_ECLEVEL_L
        : level == 'Q'                        ? QR_ECLEVEL_Q
        : level == 'H'                        ? QR_ECLEVEL_H
                                              : QR_ECLEVEL_M;
    const std::unique_ptr<QRcode, ReleaseCode> code(
        QRcode_encodeData(int(message.size()), message.data(), 0, correction));
    if (!code)
        return nullptr;
    constexpr int kBorder = 1;
    const int side = code->width + 2 * kBorder;
    auto bitmap = whiteBitmap(side, side);
    const unsigned char* module = code->data;
    for (int y = 0; y < code->width; ++y)
        for (int x = 0; x < code->width; ++x)
            if (*module++ & 1)
                bitmap->pixels[std::size_t(y + kBorder) * std::size_t(side) + std::size_t(x + kBorder)] = kBlack;
    return bitmap;
}

std::shared_ptr<const Bitmap> code128Bitmap(ByteView message, int quietSpace, int barHeight)
{
    if (message.empty() || message.size() > kMostBarcodeMessage
        || std::any_of(message.begin(), message.end(), [](std::uint8_t byte) { return byte > 127; }))
        return nullptr;
    const std::unique_ptr<zint_symbol, ReleaseCode> symbol(ZBarcode_Create());
    if (!symbol)
        return nullptr;
    symbol->symbology = BARCODE_CODE128;
    symbol->input_mode = DATA_MODE;
    if (ZBarcode_Encode(symbol.get(), message.data(), int(message.size())) >= ZINT_ERROR || symbol->width < 1
        || symbol->width > kMostBarcodeModules)
        return nullptr;
    const int width = symbol->width + 2 * quietSpace;
    auto bitmap = whiteBitmap(width, barHeight + 2 * quietSpace);
    for (int x = 0; x < symbol->width; ++x) {
        if (!(symbol->encoded_data[0][x / 8] >> x % 8 & 1))
            continue;
        for (int y = 0; y < barHeight; ++y)
            bitmap->pixels[std::size_t(quietSpace + y) * std::size_t(width) + std::size_t(quietSpace + x)] = kBlack;
    }
    return bitmap;
}

} // namespace vitrel
