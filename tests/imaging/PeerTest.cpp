// The same work by another program, convert of ImageMagick: far from the same code, and near the same pixels.
#include "imaging/NSImage+Nq.h"
#include "imaging/NSImage+NqFiles.h"
#include "imaging/NSImage+NqFitting.h"
#include "imaging/NSImage+NqWallpaper.h"
#include "imaging/Pictures.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>

namespace vitrel {
namespace {

struct Difference {
    double mean = 0;
    int worst = 256;
    double seen = 1; // the share of channels that are off by more than four steps
};

Difference differenceOf(const NSImage& a, const NSImage& b)
{
    const auto &left = wordsOf(a), &right = wordsOf(b);
    if (left.empty() || left.size() != right.size())
        return {256, 256, 1};
    Difference difference{0, 0, 0};
    for (std::size_t k = 0; k < left.size(); ++k)
        for (const int shift : {0, 8, 16}) {
            const int off = std::abs(int(left[k] >> shift & 255) - int(right[k] >> shift & 255));
            difference.mean += off / (3.0 * double(left.size()));
            difference.worst = std::max(difference.worst, off);
            difference.seen += (off > 4) / (3.0 * double(left.size()));
        }
    return difference;
}

class Peer : public testing::Test
{
protected:
    void SetUp() override
    {
        if (std::system("convert -version >/dev/null 2>&1") != 0)
            GTEST_SKIP() << "ImageMagick isn't here";
    }
    // What convert makes of the image with these words.
    std::shared_ptr<const NSImage> converted(const NSImage& image, const std::string& words)
    {
        const std::string in = folder_ / "in.png", out = folder_ / "out.png";
        EXPECT_TRUE(writeToFile(image, in));
        const std::string command = "convert '" + in + "' " + words + " -depth 8 '" + out + "' >/dev/null 2>&1";
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
        const auto made = NSImage::imageWithData(bytesOf(TemporaryFolder::read(out)));
        return made ? made : std::make_shared<const NSImage>(NSSize{}, std::vector<NSBitmapImageRep>{});
    }
    TemporaryFolder folder_;
};

TEST_F(Peer, TheBackdropIsABlurAndAnExposureInLinearLight)
{
    const auto cover = drawnCover(240, 200);
    const auto peer = converted(*cover,
        "-colorspace RGB -virtual-pixel edge -gaussian-blur 40x10 -evaluate multiply 0.0883883 -colorspace sRGB");
    const auto [mean, worst, seen] = differenceOf(*artworkBackground(*cover), *peer);
    EXPECT_LT(mean, 0.5);
    EXPECT_LE(worst, 3);
    EXPECT_EQ(seen, 0);
}

TEST_F(Peer, TheMuralIsAScaledCoverUponABackdrop)
{
    const auto cover = drawnCover(300, 300);
    const auto mural = musicArtworkWallpaperArtworkAspectRatioDifference(*cover, {320, 180}, 0.1f);
    // The backdrop is of the filled picture; the cover is made 180 high and stands at 70.
    const auto filled = resizeImageToFillSize(*cover, {320, 180});
    const std::string in = folder_ / "cover.png";
    ASSERT_TRUE(writeToFile(*cover, in));
    const auto peer = converted(*filled,
        "-colorspace RGB -virtual-pixel edge -gaussian-blur 40x10 -evaluate multiply 0.0883883 \\( '" + in
            + "' -colorspace RGB -filter Lanczos -resize 180x180 \\) -geometry +70+0 -composite -colorspace sRGB");
    const auto [mean, worst, seen] = differenceOf(*mural, *peer);
    EXPECT_LT(mean, 0.6);
    EXPECT_LT(seen, 0.01) << "only where a filter rings beside an edge";
    EXPECT_LT(worst, 64);
}

TEST_F(Peer, AFillIsACutAndAScaling)
{
    const std::tuple<int, int, int, int, int, double> cases[]
        = {{900, 600, 200, 150, 0, 1.0}, {600, 900, 150, 0, 150, 1.0}, {80, 60, 300, 10, 0, 1.5}};
    for (const auto& [width, height, side, x, y, mean] : cases) {
        const auto cover = drawnCover(width, height);
        const int cut = std::min(width, height);
        const std::string words = "-crop " + std::to_string(cut) + "x" + std::to_string(cut) + "+" + std::to_string(x)
            + "+" + std::to_string(y) + " +repage -filter " + (side > cut ? "Triangle" : "Box") + " -resize "
            + std::to_string(side) + "x" + std::to_string(side);
        const double size = side;
        EXPECT_LT(differenceOf(*resizeImageToFillSize(*cover, {size, size}), *converted(*cover, words)).mean, mean)
            << words;
        EXPECT_LT(differenceOf(*imageToFitSize(cover, {size, size}), *converted(*cover, words)).mean, mean + 0.5)
            << words;
    }
}

} // namespace
} // namespace vitrel
