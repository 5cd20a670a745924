#include "coreimage/CodeReader.h"
#include "imaging/CodeImages.h"
#include "imaging/CoreImageKit.h"
#include "imaging/Pictures.h"
#include "platform/coreimage/CIContext.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

namespace vitrel {
namespace {

using testing::Each;
using testing::ElementsAre;

constexpr std::uint32_t R = 0xFFFF0000, G = 0xFF00FF00, B = 0xFF0000FF, W = 0xFFFFFFFF, K = 0xFF000000;

TEST(CoreImageKit, ImagesAndRecipesTurnIntoEachOther)
{
    const auto image = imageOf(2, 2, {R, G, B, 0x40200010});
    const auto recipe = ciImage(*image);
    ASSERT_TRUE(recipe);
    const auto back = nsImage(*recipe);
    EXPECT_EQ(back->size(), (NSSize{2, 2}));
    EXPECT_EQ(wordsOf(*back), wordsOf(*image));
    EXPECT_FALSE(ciImage(NSImage(NSSize{4, 4}, {})));
    EXPECT_FALSE(ciImage(NSImage(NSSize{4, 4}, {NSBitmapImageRep(std::shared_ptr<const Bitmap>())})));
    EXPECT_EQ(nsImage(CIImage())->size(), NSSize{});

    const NSImage fine({1, 1}, {NSBitmapImageRep(image->representations()[0].bitmap())});
    EXPECT_EQ(tiffRepSize(fine), (NSSize{2, 2})) << "a file's points are its pixels";
    EXPECT_EQ(tiffRepPixelSize(fine), (PixelSize{2, 2}));
    EXPECT_EQ(tiffRepresentationCGImage(fine)->pixels, wordsOf(*image));
    EXPECT_FALSE(tiffRepSize(NSImage(NSSize{4, 4}, {})));
    EXPECT_FALSE(tiffRepresentationCGImage(NSImage(NSSize{4, 4}, {})));
}

TEST(CoreImageKit, AnOverlayIsOneColourWithTheAlphaGiven)
{
    const auto shown = [](std::optional<NSColor> color, std::optional<double> alpha) {
        return CIContext().createCGImageFromRect(createOverlay(color, alpha), makeRect(5, 5, 1, 1))->pixels.at(0);
    };
    const NSColor green = {0, 1, 0, 1};
    EXPECT_EQ(shown(std::nullopt, std::nullopt), 0x80800000u) << "half red";
    EXPECT_EQ(shown(green, std::nullopt), 0x80008000u);
    EXPECT_EQ(shown(green, 0.0), 0u) << "an alpha of 0 is a value";
    EXPECT_EQ(shown(NSColor{0, 1, 0, 0.1}, 1.0), G) << "the colour's own alpha doesn't count";
    EXPECT_EQ(shown(NSColor{7, -3, std::nan(""), 1}, 9.0), R) << "no more than there is";

    const CIImage black = *ciImage(*imageOf(2, 1, {K, K}));
    const CIImage tinted = compositeSourceOver(black, createOverlay(NSColor{1, 1, 1, 1}, 0.5));
    EXPECT_EQ(tinted.extent(), makeRect(0, 0, 2, 1)) << "cut to the image, however large the overlay";
    EXPECT_THAT(wordsOf(*nsImage(tinted)), Each(0xFFBCBCBC)) << "half the light";
}

TEST(CoreImageKit, ATintTakesTheShapeOfThePicture)
{
    const auto image = imageOf(4, 1, {R, 0, 0x80808080, G});
    const auto tinted = tintImage(*image, {0, 0, 1, 1});
    EXPECT_THAT(wordsOf(*tinted), ElementsAre(B, 0, 0x80000080, B));
    EXPECT_THAT(wordsOf(*image), ElementsAre(R, 0, 0x80808080, G)) << "the receiver stays";
    EXPECT_THAT(wordsOf(*tintImage(*plainImage(1, 1, W), {1, 0, 0, 0.5})), ElementsAre(0x80800000));
}

TEST(CoreImageKit, ResizeStretches)
{
    const auto image = imageOf(2, 1, {R, G});
    const auto resized = resize(*image, 4, 3);
    EXPECT_EQ(resized->size(), (NSSize{4, 3}));
    EXPECT_EQ(wordAt(*resized, 0, 0), R);
    EXPECT_EQ(wordAt(*resized, 3, 2), G);
    EXPECT_TRUE(wordsOf(*resize(*image, 0, 3)).empty());
    EXPECT_THAT(wordsOf(*resize(NSImage(NSSize{}, {}), 2, 1)), Each(0u));
}

TEST(CodeImages, HoldTheTextOrNothingAtPointsAModule)
{
    const std::tuple<const char*, const char*, bool, bool> cases[] = {
        {"Vitrel 1", "ASCII", true, true},
        {"caf\xC3\xA9 \xC2\xBD \xC3\xBF", "Latin-1", true, false},
        {"\xE2\x82\xAC 5", "a euro is beyond Latin-1", false, false},
        {"\xC4\x80", "the first one beyond", false, false},
        {"\xF0\x9F\x8E\xB5", "a note", false, false},
        {"abc\xC3", "cut short", false, false},
        {"\xE9t\xE9", "no UTF-8", false, false},
        {"\xC0\x80", "longer than it need be", false, false},
        {"\xC3(", "no continuation", false, false},
        {"", "no characters", false, false},
    };
    for (const auto& [text, why, qr, bars] : cases) {
        const auto code = qrCode(text, 1);
        EXPECT_EQ(code != nullptr, qr) << why;
        EXPECT_EQ(barcode(text) != nullptr, bars) << why;
        EXPECT_EQ(qrCodes(text)->representations().at(0).bitmap() != nullptr, qr) << why;
    }
    EXPECT_EQ(readCode(*qrCodes("caf\xC3\xA9")->representations().at(0).bitmap()), "caf\xC3\xA9");
    EXPECT_EQ(readCode(*barcode("Vitrel 1")->representations().at(0).bitmap()), "Vitrel 1");

    for (const auto& [scale, side] : {std::pair{1.0f, 23}, {2.5f, 58}, {10.0f, 230}}) {
        const auto code = qrCode("A", scale);
        ASSERT_TRUE(code);
        EXPECT_EQ(code->size().width, 23 * double(scale));
        EXPECT_EQ(code->representations().at(0).pixelsWide(), side) << "57.5 touches 58 pixels";
    }
    EXPECT_EQ(wordsOf(*qrCode("A", 1)), wordsOf(*qrCodes("A")));
    EXPECT_EQ(readCode(*qrCode("A fraction", 3.7f)->representations().at(0).bitmap(), 1), "A fraction");
    const float infinity = std::numeric_limits<float>::infinity();
    for (const float scale : {0.0f, 1e9f, infinity, std::nanf("")})
        EXPECT_FALSE(qrCode("A", scale)) << scale;
}

} // namespace
} // namespace vitrel
