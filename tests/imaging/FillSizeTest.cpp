#include "imaging/NSImage+Nq.h"

#include <gtest/gtest.h>

#include <ostream>

namespace vitrel {

void PrintTo(const NSRect& rect, std::ostream* out)
{
    *out << "(" << rect.origin.x << ", " << rect.origin.y << ", " << rect.size.width << ", " << rect.size.height << ")";
}

namespace {

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

NSImage stripes(int width, int height, int from, int to)
{
    Bitmap bitmap{width, height, {}};
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            bitmap.pixels.push_back(x >= from && x < to ? 0xFF00FF00 : 0xFFFF0000);
    return NSImage(std::make_shared<const Bitmap>(std::move(bitmap)));
}

TEST(FillSize, TheResultHasTheSizeAskedForAndShowsTheMiddle)
{
    const auto square = resizeImageToFillSize(stripes(300, 200, 50, 250), {100, 100});
    EXPECT_EQ(square->size(), (NSSize{100, 100}));
    const auto& bitmap = *square->representations().at(0).bitmap();
    ASSERT_EQ(bitmap.pixels.size(), 10000u);
    for (int x = 1; x < 99; ++x)
        ASSERT_EQ(bitmap.pixels[std::size_t(5000 + x)], 0xFF00FF00) << x;

    EXPECT_EQ(resizeImageToFillSize(stripes(3, 2, 0, 1), {10.25, 7.5})->size(), (NSSize{10.25, 7.5}));
}

TEST(FillSize, WithoutAnAreaTheImageIsClear)
{
    const auto none = resizeImageToFillSize(NSImage(NSSize{0, 0}, {}), {4, 4});
    EXPECT_EQ(none->size(), (NSSize{4, 4}));
    for (const auto word : none->representations().at(0).bitmap()->pixels)
        EXPECT_EQ(word, 0u);
    EXPECT_EQ(resizeImageToFillSize(stripes(3, 2, 0, 1), {0, 4})->size(), (NSSize{0, 4}));
}

} // namespace
} // namespace vitrel
