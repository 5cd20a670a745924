#include "coreimage/CodeReader.h"
#include "coreimage/Pictures.h"

#include <gtest/gtest.h>

namespace vitrel {
namespace {

std::optional<CIImage> code(const char* generator, std::string_view message)
{
    return filtered(generator, {{"inputMessage", Bytes(bytesOf(message).begin(), bytesOf(message).end())}});
}

std::shared_ptr<const Bitmap> drawn(const std::optional<CIImage>& image)
{
    return image ? CIContext().createCGImageFromRect(*image, image->extent()) : nullptr;
}

TEST(Codes, AreReadAgainByAReader)
{
    for (const std::string text : {"A", "https://example.org/?a=1&b=2", "0123456789", "{\"track\": [1, 2, 3]}"}) {
        const auto qr = drawn(code("CIQRCodeGenerator", text)), bars = drawn(code("CICode128BarcodeGenerator", text));
        ASSERT_TRUE(qr && bars);
        EXPECT_EQ(readCode(*qr), text);
        EXPECT_EQ(readCode(*bars), text);
    }
    const std::string all(1000, 'x');
    EXPECT_EQ(readCode(*drawn(code("CIQRCodeGenerator", all))), all);
}

// The border and the finder patterns of the smallest symbol, version 1 of 21 modules (ISO/IEC 18004, 6.3.3).
TEST(Codes, AQRCodeHasOnePixelAModuleAndOneAroundAndSquaresWhenMagnified)
{
    const auto image = code("CIQRCodeGenerator", "A");
    const auto bitmap = drawn(image);
    ASSERT_TRUE(bitmap);
    ASSERT_EQ(bitmap->width, 23);
    ASSERT_EQ(bitmap->height, 23);
    const char* const finder[] = {".........", ".#######.", ".#.....#.", ".#.###.#.", ".#.###.#.", ".#.###.#.",
        ".#.....#.", ".#######.", "........."};
    const auto at = [&](int x, int y) { return bitmap->pixels[std::size_t(y * 23 + x)]; };
    for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 9; ++x) {
            const std::uint32_t expected = finder[y][x] == '#' ? 0xFF000000 : 0xFFFFFFFF;
            EXPECT_EQ(at(x, y), expected) << x << ", " << y << " of the upper left";
            EXPECT_EQ(at(22 - x, y), expected) << x << ", " << y << " of the upper right";
            EXPECT_EQ(at(x, 22 - y), expected) << x << ", " << y << " of the lower left";
        }
    const auto large = drawn(image->imageByApplyingTransform(CGAffineTransformMakeScale(5, 5)));
    ASSERT_EQ(large->width, 115);
    for (int y = 0; y < 115; ++y)
        for (int x = 0; x < 115; ++x)
            ASSERT_EQ(large->pixels[std::size_t(y * 115 + x)], at(x / 5, y / 5)) << "magnified, still a square";
}

// Start B, "A" (value 33), the check character (104 + 33) mod 103 = 34, stop; widths of bars and spaces from the tables
// of ISO/IEC 15417.
TEST(Codes, ABarcodeHasTheBarsOfTheStandardAndSevenModulesAround)
{
    const auto bitmap = drawn(code("CICode128BarcodeGenerator", "A"));
    ASSERT_TRUE(bitmap);
    const std::string widths = "211214"
                               "111323"
                               "131123"
                               "2331112";
    std::string modules;
    for (std::size_t k = 0; k < widths.size(); ++k)
        modules.append(std::size_t(widths[k] - '0'), k % 2 ? '.' : '#');
    ASSERT_EQ(modules.size(), 46u);
    ASSERT_EQ(bitmap->width, 46 + 14);
    ASSERT_EQ(bitmap->height, 32 + 14);
    for (int y = 0; y < bitmap->height; ++y)
        for (int x = 0; x < bitmap->width; ++x) {
            const bool bar = y >= 7 && y < 39 && x >= 7 && x < 53 && modules[std::size_t(x - 7)] == '#';
            ASSERT_EQ(bitmap->pixels[std::size_t(y * bitmap->width + x)], bar ? 0xFF000000 : 0xFFFFFFFF)
                << x << ", " << y;
        }
}

TEST(Codes, WhatFitsInNoneGivesNone)
{
    const std::string zeros(3, '\0');
    const std::tuple<const char*, const char*, std::string, bool> cases[] = {
        {"CIQRCodeGenerator", "nothing", "", false},
        {"CICode128BarcodeGenerator", "nothing", "", false},
        {"CIQRCodeGenerator", "bytes of any kind", "\xFF\x80\x01", true},
        {"CICode128BarcodeGenerator", "a byte beyond ASCII", "caf\xE9", false},
        {"CICode128BarcodeGenerator", "control characters are characters", zeros, true},
        {"CIQRCodeGenerator", "what the largest symbol holds at level M", std::string(2331, 'x'), true},
        {"CIQRCodeGenerator", "one more", std::string(2332, 'x'), false},
        {"CIQRCodeGenerator", "very long", std::string(1 << 20, 'x'), false},
        {"CICode128BarcodeGenerator", "as long as a reader takes", std::string(60, 'x'), true},
        {"CICode128BarcodeGenerator", "one more", std::string(61, 'x'), false},
        {"CICode128BarcodeGenerator", "digits take half the room", std::string(120, '7'), true},
        {"CICode128BarcodeGenerator", "very long", std::string(1 << 20, '1'), false},
    };
    for (const auto& [generator, why, message, given] : cases)
        EXPECT_EQ(code(generator, message).has_value(), given) << generator << ": " << why;
}

} // namespace
} // namespace vitrel
