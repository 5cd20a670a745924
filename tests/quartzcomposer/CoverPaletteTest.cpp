// The colours of covers: drawn ones, each with what is hard about it.
#include "platform/quartzcomposer/patches/CoverPalette.h"

#include <gtest/gtest.h>

#include <functional>

namespace vitrel::qc {
namespace {

constexpr int kSide = 96;

std::uint32_t pixelOf(const NSColor& c)
{
    const auto part = [](double v) { return static_cast<std::uint32_t>(std::lround(std::clamp(v, 0.0, 1.0) * 255)); };
    return part(c.alpha) << 24 | part(c.red * c.alpha) << 16 | part(c.green * c.alpha) << 8 | part(c.blue * c.alpha);
}

Bitmap drawn(const std::function<NSColor(double x, double y)>& at)
{
    Bitmap cover{kSide, kSide, {}};
    for (int y = 0; y < kSide; ++y)
        for (int x = 0; x < kSide; ++x)
            cover.pixels.push_back(pixelOf(at((x + 0.5) / kSide, (y + 0.5) / kSide)));
    return cover;
}

NSColor shade(double L, double chroma, double hue)
{
    return rgbOf(OKLab::of(L, chroma, hue));
}

double between(double hue, double other)
{
    const double d = std::fmod(std::abs(hue - other), 360);
    return std::min(d, 360 - d);
}

const NSColor kWhite{1, 1, 1, 1}, kBlack{0, 0, 0, 1};

struct Drawn {
    const char* name;
    Bitmap cover;
    double key, second; // hues; -1: whatever comes
    bool isGrey = false;
};

std::vector<Drawn> covers()
{
    const auto stripes = [](double x, double) { return shade(0.7, 0.12, 45 * std::floor(x * 8)); };
    const auto photograph = [](double x, double y) { // sky, sea, sand and a red boat, none of it even
        const double grain = 0.02 * std::sin(91 * x) * std::sin(73 * y);
        if (std::hypot(x - 0.6, (y - 0.55) * 2) < 0.09)
            return shade(0.55 + grain, 0.17, 28);
        return y < 0.45 ? shade(0.85 - 0.2 * y + grain, 0.05, 235)
            : y < 0.75  ? shade(0.5 + grain, 0.08, 225)
                        : shade(0.8 + grain, 0.05, 85);
    };
    std::vector<Drawn> all{{"grey", drawn([](double x, double) {
                                return NSColor{x, x, x, 1};
                            }),
                               -1, -1, true},
        {"sepia, all but grey", drawn([](double x, double) { return shade(0.2 + 0.7 * x, 0.012, 70); }), -1, -1, true},
        // Two pale halves that stand nearer to each other than a coarse eye parts.
        {"pastel", drawn([](double x, double) { return x < 0.5 ? shade(0.90, 0.035, 20) : shade(0.90, 0.035, 230); }),
            20, 230},
        {"one per cent of red on white", drawn([](double x, double y) {
             return std::hypot(x - 0.5, y - 0.5) < 0.06 ? shade(0.6, 0.2, 28) : kWhite;
         }),
            28, -1},
        {"gold on black",
            drawn([](double x, double y) { return std::abs(x - y) < 0.04 ? shade(0.75, 0.12, 85) : kBlack; }), 85, -1},
        {"flat yellow", drawn([](double, double) { return shade(0.88, 0.17, 98); }), 98, -1},
        {"eight stripes", drawn(stripes), -1, -1},
        // Shades of one red, and a little green: the better score of the shades must not keep the green out.
        {"reds and a green", drawn([](double x, double y) {
             return x > 0.85 && y > 0.6 ? shade(0.65, 0.12, 150) : shade(0.45 + 0.3 * x, 0.13 + 0.03 * y, 25 + 8 * y);
         }),
            27, 150},
        {"night, too dark to be of a colour", drawn([](double, double y) { return shade(0.06 + 0.1 * y, 0.04, 280); }),
            -1, -1, true},
        {"half of it clear", drawn([](double x, double) {
             return x < 0.5 ? NSColor{0, 1, 0, 0.2} : shade(0.7, 0.12, 330);
         }),
            330, -1},
        {"a landscape", drawn(photograph), -1, -1}};
    // A field of each hue, with a smaller one of its opposite, and grain.
    for (int hue = 10; hue < 360; hue += 40)
        all.push_back({"a field and its opposite", drawn([hue](double x, double y) {
                           const double grain = 0.06 * std::sin(131 * x + 17 * y);
                           return std::hypot(x - 0.7, y - 0.3) < 0.2 ? shade(0.66 + grain, 0.10, hue + 180)
                                                                     : shade(0.66 + grain, 0.11, hue);
                       }),
            double(hue), std::fmod(hue + 180.0, 360)});
    return all;
}

TEST(CoverPalette, FindsTheColorsOfCovers)
{
    for (const Drawn& drawn : covers()) {
        SCOPED_TRACE(drawn.name);
        const CoverPalette palette = coverPalette(&drawn.cover);
        EXPECT_EQ(palette.isGrey, drawn.isGrey);
        const OKLab key = okLab(palette.key), second = okLab(palette.second), ground = okLab(palette.ground);
        EXPECT_LT(drawn.key < 0 ? 0 : between(key.hue(), drawn.key), 12);
        EXPECT_LT(drawn.second < 0 ? 0 : between(second.hue(), drawn.second), 12);
        EXPECT_GT(between(key.hue(), second.hue()), drawn.isGrey ? 10 : 24);
        // What compositions count on, whatever the cover.
        EXPECT_NEAR(ground.L, 0.187, 0.01);
        EXPECT_LE(ground.chroma(), 0.052);
        EXPECT_GE(contrast(palette.keyText, palette.ground), 5.5);
        EXPECT_GE(contrast(palette.ink, palette.ground), 12);
        if (!drawn.isGrey) {
            EXPECT_GE(key.L, 0.655);
            EXPECT_LE(key.L, 0.845);
            EXPECT_GE(second.L, 0.495);
            EXPECT_LE(second.L, 0.765);
        }
        EXPECT_EQ(coverPalette(&drawn.cover).key, palette.key);
    }
}

TEST(CoverPalette, HasStandInsWithoutACover)
{
    const Bitmap clear = drawn([](double, double) { return NSColor{1, 0, 0, 0}; }), empty{};
    for (const Bitmap* none : {static_cast<const Bitmap*>(nullptr), &clear, &empty}) {
        const CoverPalette palette = coverPalette(none);
        EXPECT_TRUE(palette.isGrey);
        EXPECT_NEAR(palette.key.red, 0xdc / 255.0, 0.001);
        EXPECT_NEAR(okLab(palette.ground).hue(), 265, 3);
    }
}

} // namespace
} // namespace vitrel::qc
