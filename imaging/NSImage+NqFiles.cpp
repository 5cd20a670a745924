#include "imaging/NSImage+NqFiles.h"

#include "platform/appkit/ImageCoding.h"
#include "platform/appkit/NSGraphicsContext.h"
#include "platform/foundation/FileSystem.h"

#include <fcntl.h>

namespace vitrel {

namespace {

std::optional<Bytes> pngOfFirst(const NSImage& image)
{
    if (image.representations().empty())
        return std::nullopt;
    const auto& bitmap = image.representations().front().bitmap();
    return bitmap ? pngRepresentation(*bitmap) : std::nullopt;
}

bool replaceFile(const std::string& path, const std::optional<Bytes>& contents)
{
    if (!contents)
        return false;
    FileSystem files;
    const std::string beside = path + ".new";
    bool good = false;
    {
        const FileDescriptor file(
            files, files.open(beside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0666));
        if (file.get() < 0)
            return false;
        good = writeAll(files, file.get(), *contents) == 0 && files.fsync(file.get()) == 0;
    }
    if (good && files.rename(beside.c_str(), path.c_str()) == 0)
        return true;
    files.unlink(beside.c_str());
    return false;
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
    return replaceFile(path, PNGRepresentationOfImage(image));
}

bool writeToFile(const NSImage& image, const std::string& path)
{
    return replaceFile(path, pngOfFirst(image));
}

} // namespace vitrel
