// code and wallpaper: pictures as a user's other programs read them.
#include "programs/Program.h"

#include "coreimage/CodeReader.h"
#include "platform/appkit/ImageCoding.h"
#include "platform/appkit/NSImage.h"

#include <gtest/gtest.h>

namespace vitrel {
namespace {

class Pictures : public testing::Test
{
protected:
    std::shared_ptr<const Bitmap> made(std::vector<std::string> words, const std::string& out)
    {
        Program program(std::move(words));
        EXPECT_TRUE(program.endsWell()) << program.errors();
        EXPECT_EQ(program.output(), "");
        const auto image = NSImage::imageWithData(bytesOf(TemporaryFolder::read(out)));
        return image ? image->representations().at(0).bitmap() : std::make_shared<const Bitmap>();
    }
    std::string cover(int width, int height)
    {
        const Bitmap white{width, height, std::vector<std::uint32_t>(std::size_t(width * height), 0xFFFFFFFF)};
        return folder_.write("cover.png", std::string(textOf(*pngRepresentation(white))));
    }
    TemporaryFolder folder_;
    const std::string out_ = folder_ / "out.png";
};

TEST_F(Pictures, CodesAreReadAgain)
{
    const auto qr = made({"code", "https://example.org/caf\xC3\xA9", out_}, out_);
    EXPECT_EQ(readCode(*qr, 1), "https://example.org/caf\xC3\xA9");
    EXPECT_EQ(qr->width % 8, 0) << "eight pixels a module";
    EXPECT_EQ(made({"code", "A", out_, "--qr", "--scale", "3"}, out_)->width, 69) << "21 modules and the border, by 3";
    const auto bars = made({"code", "Vitrel 1", out_, "--barcode", "--scale", "2"}, out_);
    EXPECT_EQ(readCode(*bars, 1), "Vitrel 1");
    EXPECT_EQ(bars->height, 92) << "32 of bar and 7 of space on each side, by 2";
}

TEST_F(Pictures, AWallpaperHasTheSizeAndTheStyle)
{
    const std::string square = cover(30, 30);
    const auto middle = [&](const std::vector<std::string>& more) {
        std::vector<std::string> words = {"wallpaper", square, out_, "--size", "160x90"};
        words.insert(words.end(), more.begin(), more.end());
        const auto picture = made(words, out_);
        EXPECT_EQ(picture->width, 160);
        EXPECT_EQ(picture->height, 90);
        return std::pair{picture->pixels.at(45 * 160 + 80) & 255, picture->pixels.at(45 * 160 + 5) & 255};
    };
    // White, and white three and a half stops down.
    EXPECT_EQ(middle({}), (std::pair{255u, 84u}));
    EXPECT_EQ(middle({"--style", "mural", "--difference", "0.5"}), (std::pair{255u, 84u}));
    EXPECT_EQ(middle({"--difference", "0.8"}), (std::pair{255u, 255u})) << "near enough: filled";
    EXPECT_EQ(middle({"--style", "fill"}), (std::pair{255u, 255u}));
    EXPECT_EQ(middle({"--style", "backdrop"}), (std::pair{84u, 84u}));
}

TEST_F(Pictures, WrongUseIsTwoAndFailureIsOneEachWithOneLine)
{
    const std::string square = cover(4, 4), junk = folder_.write("junk.png", "\x89PNG\r\n\x1a\n and no more");
    const std::pair<std::vector<std::string>, int> cases[] = {{{"code", "text"}, 2},
        {{"code", "text", out_, "--qr", "--barcode"}, 2}, {{"code", "text", out_, "--scale", "0"}, 2},
        {{"code", "text", out_, "--scale", "1e9"}, 2}, {{"code", "", out_}, 1}, {{"code", "\xE2\x82\xAC", out_}, 1},
        {{"code", std::string(2332, 'x'), out_}, 1}, {{"code", "caf\xC3\xA9", out_, "--barcode"}, 1},
        {{"code", std::string(50, 'x'), out_, "--barcode", "--scale", "100"}, 1},
        {{"code", "text", folder_ / "no-folder/x.png"}, 1}, {{"wallpaper", square, out_}, 2},
        {{"wallpaper", square, out_, "--size", "0x10"}, 2}, {{"wallpaper", square, out_, "--size", "8192x8192"}, 2},
        {{"wallpaper", square, out_, "--size", "8x8", "--style", "tiles"}, 2},
        {{"wallpaper", square, out_, "--size", "8x8", "--difference", "-1"}, 2},
        {{"wallpaper", junk, out_, "--size", "8x8"}, 1},
        {{"wallpaper", folder_ / "lost.png", out_, "--size", "8x8"}, 1},
        {{"wallpaper", folder_.path(), out_, "--size", "8x8"}, 1},
        {{"wallpaper", square, folder_ / "no-folder/x.png", "--size", "8x8"}, 1}};
    for (const auto& [words, code] : cases) {
        Program program(words);
        EXPECT_TRUE(program.fails(code)) << testing::PrintToString(words) << program.errors();
        EXPECT_EQ(TemporaryFolder::read(out_), "") << testing::PrintToString(words) << ": nothing is written";
    }
}

} // namespace
} // namespace vitrel
