#include "coreimage/Pictures.h"
#include "platform/appkit/NSGraphicsContext.h"
#include "platform/coreimage/NSCIImageRep.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

namespace vitrel {

void PrintTo(const NSRect& rect, std::ostream* out)
{
    *out << "(" << rect.origin.x << ", " << rect.origin.y << ", " << rect.size.width << ", " << rect.size.height << ")";
}

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

constexpr std::uint32_t R = 0xFFFF0000, G = 0xFF00FF00, B = 0xFF0000FF, W = 0xFFFFFFFF;

// An image that tells how often somebody asked for its pixels.
class WatchedRep final : public NSImageRep
{
public:
    NSSize size() const override { return {2, 2}; }
    int pixelsWide() const override { return 2; }
    int pixelsHigh() const override { return 2; }
    const std::shared_ptr<const Bitmap>& bitmap() const override
    {
        ++asked;
        return pixels_;
    }
    mutable int asked = 0;

private:
    const std::shared_ptr<const Bitmap> pixels_ = std::make_shared<const Bitmap>(Bitmap{2, 2, {R, G, B, W}});
};

// A chain that computes when it is built makes a wallpaper of every cover that is ever shown.
TEST(Recipe, NothingIsComputedBeforeThePixelsAreAskedFor)
{
    const auto watched = std::make_shared<const WatchedRep>();
    const CIImage image = CIImage::imageWithBitmapImageRep(NSBitmapImageRep(watched));
    const auto blurred = filtered("CIGaussianBlur", {{kCIInputImageKey, image.imageByClampingToExtent()}});
    const auto rep = NSCIImageRep::imageRepWithCIImage(blurred->imageByCroppingToRect(image.extent()));
    const NSImage wrapped(rep);
    EXPECT_EQ(wrapped.size(), (NSSize{2, 2}));
    EXPECT_EQ(wrapped.representations().at(0).pixelsWide(), 2);
    EXPECT_EQ(watched->asked, 0);
    NSGraphicsContext canvas({2, 2});
    canvas.drawInRectFromRectOperationFraction(wrapped, makeRect(0, 0, 2, 2), {}, NSCompositingOperation::Copy, 1);
    EXPECT_EQ(canvas.unlockFocus()->representations().at(0).bitmap()->pixels.at(0) >> 24, 255u);
    EXPECT_EQ(watched->asked, 1);
    EXPECT_EQ(wrapped.representations().at(0).bitmap(), wrapped.representations().at(0).bitmap()) << "drawn once";
    EXPECT_EQ(watched->asked, 1);
}

TEST(Recipe, ExtentsFollowTheOperations)
{
    const CIImage image = imageOf(4, 2, std::vector<std::uint32_t>(8, W));
    const CIImage clamped = image.imageByClampingToExtent();
    const CIImage color = *filtered("CIConstantColorGenerator", {});
    const CIImage moved = image.imageByApplyingTransform(CGAffineTransformMakeTranslation(10, -1.5));
    const std::tuple<const char*, CIImage, NSRect> cases[] = {
        {"its pixels", image, makeRect(0, 0, 4, 2)},
        {"no edge", clamped, CGRectInfinite},
        {"a colour has none either", color, CGRectInfinite},
        {"cut back", clamped.imageByCroppingToRect(makeRect(-3, 1, 10, 4)), makeRect(-3, 1, 10, 4)},
        {"a cut adds nothing", image.imageByCroppingToRect(makeRect(2, -5, 10, 6)), makeRect(2, 0, 2, 1)},
        {"cut away", image.imageByCroppingToRect(makeRect(4, 0, 5, 5)), {}},
        {"moved", moved, makeRect(10, -1.5, 4, 2)},
        {"mirrored", image.imageByApplyingTransform(CGAffineTransformMakeScale(-2, 3)), makeRect(-8, 0, 8, 6)},
        {"an infinite one stays so", clamped.imageByApplyingTransform(CGAffineTransformMakeScale(2, 2)),
            CGRectInfinite},
        {"three radii on each side", *filtered("CIGaussianBlur", {{kCIInputImageKey, image}, {"inputRadius", 2.0}}),
            makeRect(-6, -6, 16, 14)},
        {"scaled to whole pixels",
            *filtered("CILanczosScaleTransform", {{kCIInputImageKey, image}, {kCIInputScaleKey, double(0.7f)}}),
            makeRect(0, 0, 3, 1)},
        {"the aspect ratio is for the width",
            *filtered("CILanczosScaleTransform",
                {{kCIInputImageKey, image}, {kCIInputScaleKey, 2.0}, {kCIInputAspectRatioKey, 0.5}}),
            makeRect(0, 0, 4, 4)},
        {"both", *filtered("CISourceOverCompositing", {{kCIInputImageKey, moved}, {kCIInputBackgroundImageKey, image}}),
            makeRect(0, -1.5, 14, 3.5)},
        {"nothing", CIImage(), {}},
        {"nothing stays nothing", CIImage().imageByClampingToExtent(), {}},
    };
    for (const auto& [why, recipe, extent] : cases)
        EXPECT_EQ(recipe.extent(), extent) << why;
}

// y upwards in recipes, rows downwards in bitmaps: whoever mixes them up turns a picture over.
TEST(Recipe, PixelsLandWhereTheExtentSaysAsTheyWere)
{
    const CIImage image = imageOf(2, 2, {R, G, B, W});
    EXPECT_THAT(pixelsOf(image, makeRect(0, 0, 2, 2)), ElementsAre(R, G, B, W));
    EXPECT_THAT(pixelsOf(image, makeRect(1, 1, 2, 2)), ElementsAre(0, 0, G, 0)) << "outside all is clear";
    EXPECT_THAT(pixelsOf(image.imageByClampingToExtent(), makeRect(-1, -1, 4, 4)),
        ElementsAre(R, R, G, G, R, R, G, G, B, B, W, W, B, B, W, W));
    EXPECT_THAT(pixelsOf(image.imageByClampingToExtent(), makeRect(90, 40, 1, 2)), ElementsAre(G, G)) << "far away";
    const CIImage moved = image.imageByApplyingTransform(CGAffineTransformMakeTranslation(1, 0));
    EXPECT_THAT(pixelsOf(moved, makeRect(0, 0, 3, 2)), ElementsAre(0, R, G, 0, B, W));
    // A quarter turn to the left about the origin, and back into view.
    const CIImage turned = image.imageByApplyingTransform({0, 1, -1, 0, 2, 0});
    EXPECT_EQ(turned.extent(), makeRect(0, 0, 2, 2));
    EXPECT_THAT(pixelsOf(turned, makeRect(0, 0, 2, 2)), ElementsAre(G, W, R, B));

    // Values that go to linear light and back, opaque or not, must be the same.
    std::vector<std::uint32_t> words;
    for (std::uint32_t alpha = 0; alpha < 256; ++alpha)
        for (std::uint32_t channel = 0; channel <= alpha; ++channel)
            words.push_back(alpha << 24 | channel << 16 | (alpha - channel) << 8 | channel / 2);
    ASSERT_EQ(words.size(), 257u * 128u);
    EXPECT_THAT(pixelsOf(imageOf(257, 128, words), makeRect(0, 0, 257, 128)), ElementsAreArray(words));
}

TEST(Recipe, TransformsInterpolateUnlessTheyTakeTheNearest)
{
    const CIImage image = imageOf(2, 1, {0xFF000000, W});
    // Half light is 188 on a screen.
    const CIImage half = image.imageByApplyingTransform(CGAffineTransformMakeTranslation(0.5, 0));
    EXPECT_EQ(pixelsOf(half, makeRect(1, 0, 1, 1)).at(0), 0xFFBCBCBCu);
    const CIImage square = image.imageBySamplingNearest().imageByApplyingTransform(CGAffineTransformMakeScale(3, 1));
    EXPECT_THAT(pixelsOf(square, square.extent()), ElementsAre(0xFF000000, 0xFF000000, 0xFF000000, W, W, W));
    // Two in a row are one: a picture that is made small and large again is as it was.
    const CIImage thereAndBack = imageOf(16, 16, noise(16, 16).pixels)
                                     .imageByApplyingTransform(CGAffineTransformMakeScale(0.25, 0.25))
                                     .imageByApplyingTransform(CGAffineTransformMakeScale(4, 4));
    EXPECT_THAT(pixelsOf(thereAndBack, makeRect(0, 0, 16, 16)), ElementsAreArray(noise(16, 16).pixels));
}

TEST(Recipe, SizesWithoutSenseGiveNothingQuietly)
{
    const double infinity = std::numeric_limits<double>::infinity(), none = std::nan("");
    const CIImage color = *filtered("CIConstantColorGenerator", {});
    for (const NSRect rect : {NSRect{}, makeRect(0, 0, -1, 1), makeRect(0, 0, 8193, 1), makeRect(0, 0, 8192, 8192),
             CGRectInfinite, makeRect(none, 0, 1, 1), makeRect(0, 0, none, 1), makeRect(0, 0, infinity, 1),
             makeRect(-infinity, 0, infinity, 1)})
        EXPECT_FALSE(CIContext().createCGImageFromRect(color, rect)) << testing::PrintToString(rect);
    const NSImage endless(NSCIImageRep::imageRepWithCIImage(color));
    EXPECT_EQ(endless.representations().at(0).pixelsWide(), 0);
    EXPECT_FALSE(endless.representations().at(0).bitmap());

    const CIImage image = imageOf(2, 2, {R, G, B, W});
    for (const double scale : {0.0, none, infinity, 1e-320, 1e300}) {
        const CIImage scaled = image.imageByApplyingTransform(CGAffineTransformMakeScale(scale, scale));
        EXPECT_EQ(pixelsOf(scaled, scaled.extent()).size(), 0u) << scale;
    }
    for (const double scale : {0.0, -1.0, none, infinity, 1e-9, 1e9})
        EXPECT_EQ(filtered("CILanczosScaleTransform", {{kCIInputImageKey, image}, {kCIInputScaleKey, scale}})->extent(),
            NSRect{})
            << scale;
    // What is far away is clear, and no number runs over.
    for (const double far : {1e9, -1e9, 1e300})
        EXPECT_THAT(
            pixelsOf(image.imageByApplyingTransform(CGAffineTransformMakeTranslation(far, far)), makeRect(0, 0, 1, 1)),
            ElementsAre(0))
            << far;
}

// Ten operations that each use the last one twice are a thousand, sixty are more than a machine will ever do.
TEST(Recipe, RecipesThatAskForTooMuchGiveNothing)
{
    CIImage image = imageOf(2, 2, {R, G, B, W});
    CIImage doubled = image, deep = image;
    for (int k = 0; k < 60; ++k)
        doubled = *filtered("CISourceOverCompositing",
            {{kCIInputImageKey, doubled.imageByApplyingTransform(CGAffineTransformMakeTranslation(0.5, 0))},
                {kCIInputBackgroundImageKey, doubled}});
    EXPECT_TRUE(pixelsOf(doubled, makeRect(0, 0, 2, 2)).empty());
    for (int k = 0; k < 100000; ++k)
        deep = deep.imageBySamplingNearest();
    EXPECT_EQ(deep.extent(), NSRect{});
    // A blur that needs a sea of pixels for a drop.
    const CIImage sea = filtered("CIGaussianBlur", {{kCIInputImageKey, image.imageByClampingToExtent()}})
                            ->imageByApplyingTransform(CGAffineTransformMakeScale(1e-4, 1e-4));
    EXPECT_TRUE(pixelsOf(sea, makeRect(0, 0, 100, 100)).empty());
    // Sharp shrinking reads all that it shrinks: of what has no edge, or lies far off, it would read for hours.
    for (const NSRect wanted : {makeRect(0, 0, 100, 100), makeRect(1 << 24, 0, 1, 1)}) {
        const CIImage shrunk = *filtered("CILanczosScaleTransform",
            {{kCIInputImageKey, image.imageByClampingToExtent()}, {kCIInputScaleKey, 1.0 / 8192}});
        EXPECT_TRUE(pixelsOf(shrunk, wanted).empty());
    }
    // A picture made very small is read where it shows.
    const CIImage small
        = image.imageByClampingToExtent().imageByApplyingTransform(CGAffineTransformMakeScale(1e-4, 1e-4));
    EXPECT_THAT(pixelsOf(small, makeRect(-1, 0, 2, 1)), ElementsAre(R, G));
}

} // namespace
} // namespace vitrel
