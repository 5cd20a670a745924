// The steps of docs/authoring.md, each played as its reader would.
#include "platform/appkit/NSImage.h"
#include "programs/Program.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace vitrel {
namespace {

// How many pixels are near a colour, in each channel.
std::size_t pixelsNear(const Bitmap& picture, std::uint32_t color, int tolerance, int fromRow, int rows)
{
    std::size_t count = 0;
    for (int y = fromRow; y < fromRow + rows; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            const std::uint32_t pixel = picture.pixels[static_cast<std::size_t>(y * picture.width + x)];
            bool isNear = true;
            for (const int shift : {16, 8, 0})
                isNear &= std::abs(int(pixel >> shift & 255) - int(color >> shift & 255)) <= tolerance;
            count += isNear;
        }
    }
    return count;
}

} // namespace

// Each step adds what it tells of, and keeps what was there before.
TEST(Authoring, EachStepPlaysAndShowsWhatItAdds)
{
    TemporaryFolder folder;
    std::vector<std::string> steps;
    for (const auto& entry : std::filesystem::directory_iterator(VITREL_COMPOSITIONS "/../authoring")) {
        if (entry.path().extension() == ".json")
            steps.push_back(entry.path());
    }
    std::sort(steps.begin(), steps.end());
    ASSERT_EQ(steps.size(), 8u);
    // What the last step is fed by the demonstration comes to all.
    const std::string trace = folder / "trace.jsonl", out = folder / "out.png";
    Program fed(
        {"snapshot", "--demo", "--after", "4", "--size", "64x36", "--trace", trace, "--output", out, steps.back()});
    ASSERT_TRUE(fed.endsWell()) << fed.errors();
    constexpr std::uint32_t kWords = 0xF4EFE6, kSun = 0xFCD5A1, kBars = 0xB9A5FF;
    for (std::size_t k = 0; k < steps.size(); ++k) {
        const std::size_t step = k + 1;
        SCOPED_TRACE(steps[k]);
        Program make({"make", "--strict", steps[k], folder / "made.qtz"});
        EXPECT_TRUE(make.endsWell()) << make.errors();
        Program snapshot(
            {"snapshot", "--replay", trace, "--after", "4", "--size", "640x360", "--output", out, steps[k]});
        ASSERT_TRUE(snapshot.endsWell()) << snapshot.errors();
        const auto image = NSImage::imageWithData(bytesOf(TemporaryFolder::read(out)));
        ASSERT_TRUE(image);
        const auto picture = image->representations().at(0).bitmap();
        EXPECT_EQ(pixelsNear(*picture, 0x0B0F1E, 3, 359, 1) > 300, step >= 1) << "the ground at the bottom";
        EXPECT_EQ(pixelsNear(*picture, kWords, 12, 0, 300) > 300, step >= 2) << "a title";
        EXPECT_EQ(pixelsNear(*picture, kSun, 12, 0, 360) > 3000, step >= 3) << "the cover";
        EXPECT_EQ(pixelsNear(*picture, kBars, 3, 180, 160) > 500, step >= 5) << "bars";
        EXPECT_EQ(pixelsNear(*picture, 0xB8B5B1, 24, 310, 40) > 60, step >= 6) << "a headline";
    }
}

} // namespace vitrel
