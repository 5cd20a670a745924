#include "imaging/CodeImages.h"

#include "imaging/CoreImageKit.h"
#include "platform/coreimage/CIContext.h"
#include "platform/coreimage/CIFilter.h"

#include <optional>

namespace vitrel {

namespace {

// ISO Latin-1 is the first 256 characters of Unicode, and ASCII the first 128. Absent if the text has others or is no
// UTF-8 (an encoding longer than it need be isn't).
std::optional<Bytes> encoded(std::string_view text, unsigned characters)
{
    Bytes bytes;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto first = static_cast<unsigned char>(text[at]);
        unsigned character = first;
        if (first >= 0x80) {
            if ((first != 0xC2 && first != 0xC3) || at + 1 == text.size())
                return std::nullopt;
            const auto second = static_cast<unsigned char>(text[++at]);
            if ((second & 0xC0) != 0x80)
                return std::nullopt;
            character = (first & 3u) << 6 | (second & 0x3Fu);
        }
        if (character >= characters)
            return std::nullopt;
        bytes.push_back(static_cast<std::uint8_t>(character));
    }
    return bytes;
}

std::optional<CIImage> codeOf(const char* generator, const std::optional<Bytes>& message)
{
    auto filter = CIFilter::filterWithName(generator);
    if (!filter || !message)
        return std::nullopt;
    filter->setValueForKey(*message, "inputMessage");
    return filter->outputImage();
}

} // namespace

std::shared_ptr<const NSImage> qrCode(std::string_view text, float scale)
{
    const auto code = codeOf("CIQRCodeGenerator", encoded(text, 256));
    if (!code)
        return nullptr;
    const CIImage scaled = code->imageByApplyingTransform(CGAffineTransformMakeScale(scale, scale));
    return CIContext::pixelsOfRect(scaled.extent()).width > 0 ? nsImage(scaled) : nullptr;
}

std::shared_ptr<const NSImage> qrCodes(std::string_view text)
{
    return nsImage(codeOf("CIQRCodeGenerator", encoded(text, 256)).value_or(CIImage()));
}

std::shared_ptr<const NSImage> barcode(std::string_view text)
{
    if (text.empty())
        return nullptr;
    const auto code = codeOf("CICode128BarcodeGenerator", encoded(text, 128));
    return code ? nsImage(*code) : nullptr;
}

} // namespace vitrel
