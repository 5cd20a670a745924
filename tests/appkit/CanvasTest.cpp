#include "platform/appkit/MemorySurface.h"
#include "platform/appkit/NSGraphicsContext.h"

#include <gmock/gmock.h>

#include <limits>

namespace vitrel {
namespace {

using testing::ElementsAre;

constexpr std::uint32_t R = 0xFFFF0000, G = 0xFF00FF00, B = 0xFF0000FF, W = 0xFFFFFFFF;

NSImage imageOf(int width, int height, std::vector<std::uint32_t> pixels)
{
    return NSImage(std::make_shared<const Bitmap>(Bitmap{width, height, std::move(pixels)}));
}

const Bitmap& bitmapOf(const std::shared_ptr<const NSImage>& image)
{
    return *image->representations().at(0).bitmap();
}

// What a canvas shows onto which the image, or a part of it, was drawn; without `hint` by the usual interpolation.
std::vector<std::uint32_t> drawn(const NSImage& image, NSSize size, NSRect to, NSRect from = {}, int hint = 0,
    NSCompositingOperation operation = NSCompositingOperation::Copy)
{
    NSGraphicsContext canvas(size);
    if (hint)
        canvas.drawInRectFromRectOperationFractionRespectFlippedHints(
            image, to, from, operation, 1, true, {{NSImageHintInterpolation, Value(hint)}});
    else
        canvas.drawInRectFromRectOperationFraction(image, to, from, operation, 1);
    return bitmapOf(canvas.unlockFocus()).pixels;
}

// A canvas whose y runs the other way shows in the rows, a mirrored one in the columns.
TEST(Canvas, TheOriginIsAtTheLowerLeftInSourceAndDestination)
{
    const NSImage image = imageOf(2, 2, {R, G, B, W});
    EXPECT_THAT(drawn(image, {2, 2}, makeRect(0, 0, 2, 2)), ElementsAre(R, G, B, W));
    EXPECT_THAT(drawn(image, {2, 2}, makeRect(1, 0, 1, 1), makeRect(0, 1, 1, 1)), ElementsAre(0, 0, 0, R));
    EXPECT_THAT(
        drawn(imageOf(2, 1, {R, G}), {4, 1}, makeRect(0, 0, 4, 1), makeRect(-1, 0, 4, 1)), ElementsAre(0, R, G, 0))
        << "what the source has beyond the image isn't drawn";
    const NSImage fine({1, 1}, {NSBitmapImageRep(std::make_shared<const Bitmap>(Bitmap{2, 2, {R, G, B, W}}))});
    EXPECT_THAT(drawn(fine, {1, 1}, makeRect(0, 0, 1, 1), makeRect(0.5, 0, 0.5, 0.5)), ElementsAre(W))
        << "a size in points of its own scales the source";

    NSGraphicsContext turned({2, 2});
    turned.translateXByYBy(2, 0);
    turned.rotateByDegrees(90); // counter-clockwise: the lower edge becomes the right one
    turned.drawInRectFromRectOperationFraction(image, makeRect(0, 0, 2, 2), {}, NSCompositingOperation::Copy, 1);
    EXPECT_THAT(bitmapOf(turned.unlockFocus()).pixels, ElementsAre(G, W, R, B));
}

TEST(Canvas, CopyReplacesAndSourceOverLiesOnTop)
{
    const NSImage half = imageOf(1, 1, {0x80800000});
    for (const auto operation : {NSCompositingOperation::Copy, NSCompositingOperation::SourceOver}) {
        NSGraphicsContext canvas({1, 1});
        const NSRect all = makeRect(0, 0, 1, 1);
        canvas.drawInRectFromRectOperationFraction(imageOf(1, 1, {B}), all, {}, NSCompositingOperation::Copy, 1);
        canvas.drawInRectFromRectOperationFraction(half, all, {}, operation, 1);
        const auto pixel = bitmapOf(canvas.unlockFocus()).pixels[0];
        EXPECT_EQ(pixel, operation == NSCompositingOperation::Copy ? 0x80800000 : 0xFF80007F);
    }
    NSGraphicsContext faded({1, 1});
    faded.drawInRectFromRectOperationFraction(
        imageOf(1, 1, {W}), makeRect(0, 0, 1, 1), {}, NSCompositingOperation::SourceOver, 0.5);
    EXPECT_NEAR(bitmapOf(faded.unlockFocus()).pixels[0] >> 24, 128, 1);
}

// A picture of a million pixels that shrinks to one must be their mean, not whichever of them lies in the middle.
TEST(Canvas, AShrinkingPictureIsAveraged)
{
    std::vector<std::uint32_t> lines(100 * 100);
    for (std::size_t k = 0; k < lines.size(); ++k)
        lines[k] = k % 100 / 5 % 2 ? W : 0xFF000000;
    for (const int hint : {2, 3}) {
        for (const auto word : drawn(imageOf(100, 100, lines), {4, 4}, makeRect(0, 0, 4, 4), {}, hint))
            EXPECT_NEAR(word & 255, 128, 40) << hint;
    }
}

// Pixels are averaged in boxes beforehand: a box that begins beside the source, or a last one that is cut, would shift
// the picture or let in what lies beside it.
TEST(Canvas, APartThatShrinksStaysInItsPlace)
{
    std::vector<std::uint32_t> words(103 * 57, R);
    for (std::size_t y = 10; y < 47; ++y) // green from 7 to 96, blue from there on
        for (std::size_t x = 7; x < 103; ++x)
            words[y * 103 + x] = x < 96 ? G : B;
    const NSImage image = imageOf(103, 57, words);
    for (const int side : {2, 5, 8, 13, 30}) {
        const auto pixels
            = drawn(image, {double(side), double(side)}, makeRect(0, 0, side, side), makeRect(7, 10, 89, 37));
        for (int y = 1; y + 1 < side; ++y)
            for (int x = 1; x + 1 < side; ++x)
                ASSERT_EQ(pixels[std::size_t(y * side + x)], G) << side << ": " << x << ", " << y;
    }
    std::vector<std::uint32_t> grey;
    for (std::uint32_t x = 0; x < 70; ++x)
        grey.push_back(0xFF000000 | x * 3);
    EXPECT_EQ(drawn(imageOf(70, 1, grey), {7, 1}, makeRect(0, 0, 7, 1)).at(3), 0xFF000000 | 104)
        << "the mean of 90 to 117, 103.5, by tens";
}

// The fine filter rings beside edges, and a colour that rings above its alpha is no colour.
TEST(Canvas, NoColourIsAboveItsAlpha)
{
    const NSImage image = imageOf(3, 2, {R, 0x80008000, 0, W, 0xFF000000, 0x01010101});
    for (const int hint : {2, 3})
        for (const double side : {7.0, 20.5, 33.0})
            for (const auto word :
                drawn(image, {side, side}, makeRect(0, 0, side, side), {}, hint, NSCompositingOperation::SourceOver))
                for (const int shift : {0, 8, 16})
                    ASSERT_LE(word >> shift & 255, word >> 24) << hint << " at " << side;
}

TEST(Canvas, SizesThatAreNoneAndSizesThatAreTooLarge)
{
    const double infinity = std::numeric_limits<double>::infinity();
    for (const NSSize size : {NSSize{0, 5}, {5, 0}, {-1, 5}, {infinity, 1}, {std::nan(""), 1}}) {
        NSGraphicsContext canvas(size);
        canvas.drawInRectFromRectOperationFraction(
            imageOf(1, 1, {R}), makeRect(0, 0, 1, 1), {}, NSCompositingOperation::Copy, 1);
        const auto image = canvas.unlockFocus();
        EXPECT_TRUE(image->representations().empty());
        EXPECT_EQ(image->size().height, size.height);
    }
    NSGraphicsContext large({1e9, 1e6});
    large.drawInRectFromRectOperationFraction(
        imageOf(1, 1, {R}), makeRect(0, 0, 1e9, 1e6), {}, NSCompositingOperation::Copy, 1);
    const auto image = large.unlockFocus();
    EXPECT_EQ(image->size(), (NSSize{1e9, 1e6})) << "the points stay, the pixels are coarser";
    EXPECT_LE(bitmapOf(image).width, 8192);
    EXPECT_EQ(bitmapOf(image).pixels.back(), R);

    NSGraphicsContext fraction({2.5, 1});
    const auto odd = fraction.unlockFocus();
    EXPECT_EQ(odd->size(), (NSSize{2.5, 1}));
    EXPECT_EQ(bitmapOf(odd).width, 3);
}

TEST(MemorySurface, KeepsTheLastFrameAndIsBlackAtAlphaZero)
{
    MemorySurface surface(2, 1);
    EXPECT_FALSE(surface.shown());
    surface.frameMemory().pixels[1] = R;
    surface.present();
    EXPECT_THAT(surface.shown()->pixels, ElementsAre(0, R));
    surface.setAlphaValue(0);
    EXPECT_THAT(surface.shown()->pixels, ElementsAre(0xFF000000, 0xFF000000));
    surface.close();
    EXPECT_EQ(surface.frameMemory().pixels, nullptr);
    EXPECT_FALSE(surface.wantsFrame());
}

} // namespace
} // namespace vitrel
