#include "imaging/NSImage+Nq.h"
#include "imaging/NSImage+NqFiles.h"
#include "imaging/NSImage+NqFitting.h"
#include "imaging/NSImage+NqMask.h"
#include "imaging/NSImage+NqRotation.h"
#include "imaging/Pictures.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>
#include <ostream>

namespace vitrel {

void PrintTo(const NSRect& rect, std::ostream* out)
{
    *out << "(" << rect.origin.x << ", " << rect.origin.y << ", " << rect.size.width << ", " << rect.size.height << ")";
}

namespace {

using testing::Each;
using testing::ElementsAre;

constexpr std::uint32_t R = 0xFFFF0000, G = 0xFF00FF00, B = 0xFF0000FF, W = 0xFFFFFFFF, K = 0xFF000000;

TEST(FillSize, TheSourceIsCutEquallyOnBothSidesAndRoundedDown)
{
    const std::tuple<NSSize, NSSize, NSRect, const char*> cases[] = {
        {{300, 200}, {100, 100}, makeRect(50, 0, 200, 200), "wide: the sides go"},
        {{200, 300}, {100, 100}, makeRect(0, 50, 200, 200), "tall: top and bottom go"},
        {{300, 200}, {150, 100}, makeRect(0, 0, 300, 200), "equal scales draw the whole"},
        {{301, 200}, {100, 100}, makeRect(50, 0, 200, 200), "an odd overhang starts half a point early"},
        {{200, 301}, {100, 100}, makeRect(0, 50, 200, 200), "and so upwards"},
        {{100, 100}, {300, 200}, makeRect(0, 17, 100, 66), "66.67 is cut to 66, 17 lie on each side"},
        // 0.7f is 0.699999988..., so that 70 / 0.7f is a little more than 100; 0.1f is 0.100000001..., so that
        // 10 / 0.1f is a little less: the floor then loses a point that exact scales would keep.
        {{200, 100}, {70, 70}, makeRect(50, 0, 100, 100), "a scale rounded down keeps the point"},
        {{200, 100}, {10, 10}, makeRect(50, 0, 99, 100), "a scale rounded up loses one"},
        {{0, 100}, {10, 10}, {}, "no width"},
        {{100, 0}, {10, 10}, {}, "no height"},
        {{100, 100}, {0, 10}, {}, "no target"},
    };
    for (const auto& [image, target, source, why] : cases)
        EXPECT_EQ(fillSourceRect(image, target), source) << why;
}

TEST(FillSize, TheResultHasTheSizeAskedForAndShowsTheMiddle)
{
    std::vector<std::uint32_t> stripes(300 * 200);
    for (std::size_t k = 0; k < stripes.size(); ++k)
        stripes[k] = k % 300 >= 50 && k % 300 < 250 ? G : R;
    const auto square = resizeImageToFillSize(*imageOf(300, 200, stripes), {100, 100});
    EXPECT_EQ(square->size(), (NSSize{100, 100}));
    ASSERT_EQ(wordsOf(*square).size(), 10000u);
    for (int x = 1; x < 99; ++x)
        ASSERT_EQ(wordAt(*square, x, 50), G) << x;
    const auto wider = resizeImageToFillSize(*imageOf(2, 1, {K, W}), {4, 2});
    for (const auto& [x, grey] : {std::pair(0, 0), {1, 64}, {2, 191}, {3, 255}})
        EXPECT_NEAR(wordAt(*wider, x, 1) & 255, grey, 1) << "on a straight line: " << x;
    for (const NSSize size : {NSSize{10.25, 7.5}, {0, 4}})
        EXPECT_EQ(resizeImageToFillSize(*plainImage(3, 2, R), size)->size(), size);
    const auto none = resizeImageToFillSize(NSImage(NSSize{0, 0}, {}), {4, 4});
    EXPECT_EQ(none->size(), (NSSize{4, 4}));
    EXPECT_THAT(wordsOf(*none), Each(0u)) << "without an area it is clear";
}

// The draw rounds to nearest where the fill resize rounds down, and its scale comes from the rounded height.
TEST(AspectFill, TheSourceIsRoundedToNearestInPixelsOfTheResult)
{
    const std::tuple<NSSize, NSSize, NSRect, const char*> cases[] = {
        {{300, 200}, {100, 100}, makeRect(50, 0, 200, 200), "wide: 150 by 100, 25 off each side, at half the scale"},
        {{200, 300}, {100, 100}, makeRect(0, 50, 200, 200), "tall"},
        {{300, 200}, {150, 100}, makeRect(0, 0, 300, 200), "the same shape"},
        {{301, 200}, {100, 100}, makeRect(52, 0, 200, 200), "150.5 is 151; 25.5 is 26, away from zero"},
        {{100, 100}, {300, 200}, makeRect(0, 50.0f / 3.0f, 100, 200.0f / 3.0f), "larger than the image"},
        {{3, 1}, {1, 1}, makeRect(1, 0, 1, 1), "one of three"},
        {{0, 1}, {1, 1}, {}, "no width"},
        {{1, 1}, {1, 0}, {}, "no target"},
        {{std::nan(""), 1}, {1, 1}, {}, "no number"},
    };
    for (const auto& [image, target, source, why] : cases) {
        const NSRect found = aspectFillSourceRect(image, target);
        for (const auto& [got, wanted] : {std::pair{found.origin.x, source.origin.x}, {found.origin.y, source.origin.y},
                 {found.size.width, source.size.width}, {found.size.height, source.size.height}})
            EXPECT_NEAR(got, wanted, 1e-5) << why;
    }
}

TEST(Fitting, TheResultHasTheSizeAndOneScaleServesBothSides)
{
    const auto wide = imageOf(4, 2, {R, G, G, B, R, G, G, B});
    EXPECT_EQ(imageRatio(*wide), 2);
    const auto square = imageToFitSize(wide, {2, 2});
    EXPECT_EQ(square->size(), (NSSize{2, 2}));
    EXPECT_THAT(wordsOf(*square), Each(G)) << "the middle";
    EXPECT_EQ(wordsOf(*imageCroppedToFitSize(wide, {2, 2})), wordsOf(*square));
    EXPECT_EQ(wordsOf(*wide).at(0), R);
    const auto none = std::make_shared<const NSImage>(NSSize{0, 3}, std::vector<NSBitmapImageRep>{});
    EXPECT_EQ(imageToFitSize(none, {2, 2}), none) << "without an area, the image itself";

    const auto middle = cropImageFrame(*wide, makeRect(1, 0, 2, 2));
    for (const int x : {1, 2})
        EXPECT_EQ(wordAt(*middle, x, 1), G) << "stretched over the whole";
    EXPECT_EQ(wordAt(*cropImageFrame(*wide, makeRect(2, 1, 2, 1)), 3, 1), B);
    EXPECT_EQ(cropImageFrame(*wide, makeRect(0, 0, 1, 2))->size(), (NSSize{4, 2}));
    EXPECT_EQ(scaleImageToFillSize(wide, {8, 8})->size(), (NSSize{8, 8}));
    EXPECT_EQ(wordAt(*scaleImageToFillSize(wide, {8, 8}), 7, 3), B) << "the whole, whatever its shape";
    EXPECT_FALSE(scaleImageToFillSize(nullptr, {8, 8}));
    EXPECT_FALSE(scaleImageToFillSize(none, {8, 8}));

    const std::tuple<NSSize, NSSize, NSSize, const char*> cases[] = {
        {{4, 2}, {8, 100}, {8, 4}, "wider than high: by the width"},
        {{2, 4}, {100, 8}, {4, 8}, "higher than wide: by the height"},
        {{2, 2}, {6, 100}, {6, 6}, "a square by the width"},
    };
    for (const auto& [image, target, result, why] : cases) {
        const auto fitted = resizeToFit(*plainImage(int(image.width), int(image.height), G), target);
        EXPECT_EQ(fitted->size(), result) << why;
        EXPECT_THAT(wordsOf(*fitted), Each(G)) << why;
    }
    EXPECT_EQ(resizeImageBy(*plainImage(4, 2, G), 2.5)->size(), (NSSize{10, 5}));
    for (const double factor : {0.0, -1.0, std::nan(""), 1e300})
        EXPECT_EQ(wordsOf(*resizeImageBy(*plainImage(4, 2, 0), factor)).size() > (16u << 20), false) << factor;
    EXPECT_TRUE(wordsOf(*resizeToFit(NSImage(NSSize{0, 0}, {}), {5, 5})).empty());
}

TEST(Rotation, QuarterTurnsMoveEveryPixelToItsPlace)
{
    const auto image = imageOf(3, 2, {R, G, B, W, K, R});
    // To the left: the right column becomes the top row.
    const std::vector<std::uint32_t> left = {B, R, G, K, R, W}, half = {R, K, W, B, G, R}, right = {W, R, K, G, R, B};
    for (const auto& [degrees, words] : {std::pair{90.0, left}, {-270.0, left}, {270.0, right}, {-90.0, right}}) {
        for (const auto& turned : {imageRotatedByDegreess(*image, degrees), imageRotatedByDegrees(*image, degrees),
                 rotateIndividualImageDeg(*image, degrees)}) {
            EXPECT_EQ(turned->size(), (NSSize{2, 3})) << degrees;
            EXPECT_EQ(wordsOf(*turned), words) << degrees;
        }
    }
    EXPECT_EQ(wordsOf(*imageRotatedByDegreess(*image, 180)), half);
    EXPECT_EQ(imageRotatedByDegreess(*image, 360)->size(), (NSSize{3, 2}));
    EXPECT_EQ(imageRotatedByDegrees(*image, 180)->size(), (NSSize{2, 3})) << "made for quarter turns alone";
}

TEST(Rotation, AnyAngleFitsItsBoundsAndLeavesTheCornersClear)
{
    const auto turned = imageRotatedByDegreess(*plainImage(100, 100, G), 45);
    EXPECT_NEAR(turned->size().width, 141.42, 0.01);
    EXPECT_NEAR(turned->size().height, 141.42, 0.01);
    EXPECT_EQ(wordAt(*turned, 70, 70), G);
    for (const auto& [x, y] : {std::pair{5, 5}, {136, 5}, {5, 136}, {136, 136}})
        EXPECT_EQ(wordAt(*turned, x, y), 0u);
    const auto counted = imageRotatedByDegreess(*plainImage(200, 100, G), 30);
    EXPECT_NEAR(counted->size().width, 200 * std::sqrt(0.75) + 50, 1e-9);
    EXPECT_NEAR(counted->size().height, 100 + 100 * std::sqrt(0.75), 1e-9);

    // An image of another size in points than pixels: one turns points, the other pixels.
    const NSImage fine(
        {1, 2}, {NSBitmapImageRep(std::make_shared<const Bitmap>(Bitmap{2, 4, {R, R, R, R, B, B, B, B}}))});
    EXPECT_EQ(imageRotatedByDegrees(fine, 90)->size(), (NSSize{2, 1}));
    EXPECT_EQ(rotateIndividualImageDeg(fine, 90)->size(), (NSSize{4, 2}));
    EXPECT_TRUE(wordsOf(*rotateIndividualImageDeg(NSImage(NSSize{3, 3}, {}), 90)).empty());
    EXPECT_TRUE(wordsOf(*imageRotatedByDegreess(fine, std::nan(""))).empty());
}

TEST(Mask, BlackLetsThroughAndWhiteHides)
{
    const auto image = imageOf(4, 1, {R, G, B, 0x80808080});
    EXPECT_THAT(wordsOf(*maskImageUsingMaskImage(image, imageOf(4, 1, {K, W, 0xFF808080, 0xFF808080}))),
        ElementsAre(R, 0, 0x7F00007F, 0x40404040))
        << "grey 128 leaves 127 of 255";
    EXPECT_THAT(wordsOf(*maskUsingMaskImage(image, imageOf(2, 2, {K, W, W, W}))), ElementsAre(R, G, 0, 0))
        << "a small mask is stretched, with hard edges";
    EXPECT_EQ(maskImageUsingMaskImage(image, nullptr), image);
    EXPECT_EQ(maskImageUsingMaskImage(nullptr, image), nullptr);
    const auto none = std::make_shared<const NSImage>(NSSize{2, 2}, std::vector<NSBitmapImageRep>{});
    EXPECT_EQ(maskUsingMaskImage(image, none), image);
    const auto large = std::make_shared<const NSImage>(
        NSSize{40, 10}, std::vector{NSBitmapImageRep(image->representations()[0].bitmap())});
    EXPECT_EQ(maskUsingMaskImage(large, image)->size(), (NSSize{40, 10})) << "the size in points stays";
}

TEST(Files, AWholePictureOrNone)
{
    const TemporaryFolder folder;
    const NSImage fine({2, 1}, {NSBitmapImageRep(std::make_shared<const Bitmap>(Bitmap{4, 2, std::vector(8, G)}))});
    const std::string pixels = folder / "pixels.png", points = folder / "points.png";
    ASSERT_TRUE(writeToFile(fine, pixels));
    ASSERT_TRUE(writeFocusToFile(fine, points));
    const auto size = [](const std::string& path) {
        const auto image = NSImage::imageWithData(bytesOf(TemporaryFolder::read(path)));
        return image ? image->size() : NSSize{};
    };
    EXPECT_EQ(size(pixels), (NSSize{4, 2})) << "the representation's own pixels";
    EXPECT_EQ(size(points), (NSSize{2, 1})) << "as a canvas of its size shows it";
    EXPECT_THAT(wordsOf(*NSImage::imageWithData(*PNGRepresentationOfImage(fine))), ElementsAre(G, G));

    const NSImage none(NSSize{0, 0}, {});
    EXPECT_FALSE(PNGRepresentationOfImage(none));
    EXPECT_FALSE(writeToFile(none, pixels));
    EXPECT_FALSE(writeFocusToFile(none, pixels));
    EXPECT_EQ(size(pixels), (NSSize{4, 2})) << "what was there stays";
    const auto before = folder.count();
    EXPECT_FALSE(writeToFile(fine, folder / "no-folder/picture.png"));
    std::filesystem::create_directory(folder / "taken");
    EXPECT_FALSE(writeToFile(fine, folder / "taken"));
    EXPECT_EQ(folder.count(), before + 1) << "the folder alone: nothing is left lying about";
}

} // namespace
} // namespace vitrel
