#include "imaging/NSImage+NqFiles.h"

#include "platform/appkit/ImageCoding.h"
#include "platform/appkit/NSGraphicsContext.h"
#include "platform/foundation/Files.h"

namespace vitrel {

namespace {

std::optional<Bytes> pngOfFirst(const NSImage& image)
{
    if (image.representations().empty())
        return std::nullopt;
    const auto& bitmap = image.representations().front().bitmap();
    return bitmap ? pngRepresentation(*bitmap) : std::nullopt;
}

bool write(const std::optional<Bytes>& contents, const std::string& path)
{
    return contents && writeFile(path, *contents) == 0;
}

} // namespace

std::optional<Bytes> PNGRepresentationOfImage(const NSImage& image)
{
    NSGraphicsContext canvas(image.size());
    canvas.drawInRectFromRectOperationFraction(
        image, {{0, 0}, image.size()}, {}, NSCompositingOperation::SourceOver, 1.0);
    return pngOfFirst(*canvas.unlockFocus());
}

bool writeFocusToFile(const NSImage& image, const std::string& path)
{
    return write(PNGRepresentationOfImage(image), path);
}

bool writeToFile(const NSImage& image, const std::string& path)
{
    return write(pngOfFirst(image), path);
}

} // namespace vitrel
