// Commands that make a picture and show nothing: code, wallpaper.
#include "imaging/CodeImages.h"
#include "imaging/CoreImageKit.h"
#include "imaging/NSImage+Nq.h"
#include "imaging/NSImage+NqWallpaper.h"
#include "platform/appkit/ImageCoding.h"
#include "platform/foundation/Files.h"
#include "programs/vitrel/Arguments.h"
#include "programs/vitrel/Commands.h"
#include "programs/vitrel/Confining.h"

namespace vitrel {

namespace {

// What a canvas has; a larger picture would be coarser than it says.
constexpr int kMostPixels = 16 << 20;
// What a cover may have; nothing larger is decoded.
constexpr std::size_t kMostCover = 64u << 20;

int writePicture(std::shared_ptr<const NSImage> image, const std::string& path, const std::string& whyNot)
{
    const bool has = image && !image->representations().empty();
    const std::shared_ptr<const Bitmap> bitmap = has ? image->representations().front().bitmap() : nullptr;
    // What it was made of takes more than the picture, and the file comes on top of it.
    image.reset();
    const auto png = bitmap ? pngRepresentation(*bitmap) : std::nullopt;
    if (!png)
        return complain(whyNot);
    return writeFile(path, *png) == 0 ? 0 : complain("can't write " + path);
}

struct CodeOptions {
    std::string text, out;
    bool qr = false, barcode = false;
    float scale = 8; // on a screen, what a phone reads across a desk
};

int code(const CodeOptions& options)
{
    if (!options.barcode)
        return writePicture(qrCode(options.text, options.scale), options.out,
            "a QR code holds 1 to 2331 characters of Latin-1, and no others");
    auto image = barcode(options.text);
    const auto recipe = image ? ciImage(*image) : std::nullopt;
    if (recipe)
        image = nsImage(recipe->imageBySamplingNearest().imageByApplyingTransform(
            CGAffineTransformMakeScale(options.scale, options.scale)));
    return writePicture(image, options.out,
        image ? "at this scale the barcode is too wide a picture"
              : "a barcode holds 1 to 60 characters of ASCII, or 120 digits, and no others");
}

struct WallpaperOptions {
    std::string cover, out, size, style = "mural";
    float difference = 0.1f;
};

Result<std::shared_ptr<const NSImage>, std::string> coverAt(const std::string& path)
{
    const auto bytes = readFile(path, kMostCover);
    if (!bytes)
        return "can't read " + path;
    std::shared_ptr<const NSImage> cover = NSImage::imageWithData(*bytes);
    if (!cover)
        return path + " is no picture";
    return cover;
}

int wallpaper(const WallpaperOptions& options)
{
    const auto size = parseSize(options.size);
    if (!size || size->first * size->second > kMostPixels)
        return complain("--size takes WIDTHxHEIGHT, each from 1 to 8192, together up to 16 megapixels", 2);
    auto cover = coverAt(options.cover);
    if (!cover)
        return complain(cover.error());
    const NSSize screen = {double(size->first), double(size->second)};
    std::shared_ptr<const NSImage> picture;
    if (options.style == "fill")
        picture = resizeImageToFillSize(**cover, screen);
    else if (options.style == "backdrop")
        picture = artworkBackground(*resizeImageToFillSize(**cover, screen));
    else
        picture = musicArtworkWallpaperArtworkAspectRatioDifference(**cover, screen, options.difference);
    *cover = nullptr;
    return writePicture(std::move(picture), options.out, "can't make this picture");
}

} // namespace

void addCode(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("code", "Write a text as a QR code or a barcode, a PNG file");
    const auto options = std::make_shared<CodeOptions>();
    command->add_option("TEXT", options->text, "What the code says")->required();
    command->add_option("OUT", options->out, "The PNG file to write")->required();
    auto* qr = command->add_flag("--qr", options->qr, "A QR code; what is made if nothing is said");
    command->add_flag("--barcode", options->barcode, "A Code 128 barcode")->excludes(qr);
    command->add_option("--scale", options->scale, "Pixels a module; 8 if not given")->check(CLI::Range(1.0, 100.0));
    command->callback([&action, options] {
        action = [=] {
            confineToDrawing({{}, {options->out}});
            return code(*options);
        };
    });
}

void addWallpaper(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("wallpaper", "Make a picture for a screen from a cover, a PNG file");
    const auto options = std::make_shared<WallpaperOptions>();
    command->add_option("COVER", options->cover, "PNG, JPEG, GIF, WebP or TIFF")->required();
    command->add_option("OUT", options->out, "The PNG file to write")->required();
    command->add_option("--size", options->size, "WIDTHxHEIGHT in pixels")->required();
    command
        ->add_option("--style", options->style,
            "mural: the whole cover upon a dark blur of itself; fill: cut to the screen's shape; backdrop: the blur "
            "alone")
        ->check(CLI::IsMember({"mural", "fill", "backdrop"}));
    command
        ->add_option("--difference", options->difference,
            "A mural whose width to height is off the screen's by no more than this is a fill; 0.1 if not given")
        ->check(CLI::Range(0.0, 100.0));
    command->callback([&action, options] {
        action = [=] {
            confineToDrawing({{options->cover}, {options->out}});
            return wallpaper(*options);
        };
    });
}

} // namespace vitrel
