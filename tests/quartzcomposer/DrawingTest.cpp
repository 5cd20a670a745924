#include "platform/appkit/NSImage.h"
#include "platform/quartzcomposer/drawing/GLCanvas.h"
#include "platform/quartzcomposer/drawing/GLContext.h"
#include "quartzcomposer/Play.h"

#include <epoxy/gl.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

namespace vitrel::qc {

namespace {

// A picture of 200 x 100: a unit is 100 pixels, y runs from -0.5 to 0.5.
constexpr int kWidth = 200, kHeight = 100;

struct Drawing : testing::Test {
    void SetUp() override
    {
        if (!GLContext::current())
            GTEST_SKIP();
    }

    // Plays one frame over black.
    void draw(const std::string& patches, const std::string& connections = "", const std::string& inputs = "",
        const std::map<std::string, Value>& values = {})
    {
        const CompositionFile file = fileOf(R"({"inputs": {)" + inputs + R"(}, "patches": {)" + patches
            + R"(}, "connections": [)" + connections + "]}");
        CompositionGraph graph(file, registry());
        EXPECT_EQ(graph.dangling(), 0);
        EXPECT_TRUE(graph.unsupported().empty());
        for (const auto& [key, value] : values)
            EXPECT_TRUE(graph.setInput(key, value)) << key;
        auto canvas = GLCanvas::make(kWidth, kHeight, graph.needsDepth());
        ASSERT_TRUE(canvas);
        Stage stage(*canvas);
        canvas->clear({0, 0, 0, 1}, true, true, 0xF);
        graph.frame(stage, 0, Date::fromReferenceDate(0));
        pixels.resize(kWidth * kHeight);
        canvas->readInto(pixels.data(), kWidth);
        EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
    }
    std::uint32_t at(int x, int y) const { return pixels.at(static_cast<std::size_t>(y * kWidth + x)); }
    // Within two steps of each channel, but for alpha.
    void expect(int x, int y, std::uint32_t rgb, const char* why = "") const
    {
        for (int shift : {16, 8, 0})
            EXPECT_NEAR(int(at(x, y) >> shift & 255), int(rgb >> shift & 255), 2)
                << std::hex << at(x, y) << " for " << rgb << " at " << std::dec << x << ", " << y << " " << why;
    }

    std::vector<std::uint32_t> pixels;
};

// Red and green above blue and white, each a square of `side` pixels.
Value quarters(int side)
{
    Bitmap bitmap{2 * side, 2 * side, std::vector<std::uint32_t>(static_cast<std::size_t>(4 * side * side))};
    for (int y = 0; y < 2 * side; ++y) {
        for (int x = 0; x < 2 * side; ++x)
            bitmap.pixels[static_cast<std::size_t>(y * 2 * side + x)] = y < side
                ? (x < side ? 0xFFFF0000u : 0xFF00FF00u)
                : x < side ? 0xFF0000FFu
                           : 0xFFFFFFFFu;
    }
    return Value(
        std::shared_ptr<const NSImage>(std::make_shared<NSImage>(std::make_shared<const Bitmap>(std::move(bitmap)))));
}

std::string sprite(const std::string& inputs)
{
    return R"({"class": "QCSprite", "inputs": {)" + inputs + "}}";
}

} // namespace

TEST_F(Drawing, ClearsToItsColourPremultiplied)
{
    draw(R"("c": {"class": "QCClear", "inputs": {"inputColor": "#ff800080"}})");
    expect(0, 0, 0x804000);
    expect(199, 99, 0x804000);
    EXPECT_NEAR(int(at(5, 5) >> 24), 128, 1);
}

TEST_F(Drawing, PlacesSpritesInUnitsFromTheMiddle)
{
    draw("\"s\": "
        + sprite(R"("inputX": 0.5, "inputY": 0.25, "inputWidth": 0.4, "inputHeight": 0.2, "inputColor": "#ff0000ff")"));
    expect(150, 25, 0xFF0000, "its middle");
    expect(131, 16, 0xFF0000, "its top left corner");
    expect(168, 33, 0xFF0000, "its bottom right corner");
    expect(128, 25, 0);
    expect(171, 25, 0);
    expect(150, 13, 0);
    expect(150, 36, 0);
    draw("\"s\": "
        + sprite(R"("inputRZ": 90, "inputWidth": 0.8, "inputHeight": 0.1, "inputX": -0.5, "inputColor": "#ffffffff")"));
    expect(50, 15, 0xFFFFFF, "turned by a quarter");
    expect(80, 50, 0);
    draw("\"s\": " + sprite(R"("inputRZ": 30, "inputWidth": 1.6, "inputHeight": 0.02, "inputColor": "#ffffffff")"));
    expect(100 + 61, 50 - 35, 0xFFFFFF, "counter-clockwise");
}

// A colour of straight alpha over white, in each blending mode.
TEST_F(Drawing, BlendsInFourModes)
{
    const std::uint32_t results[] = {0x008000, 0x80FF80, 0xFFFFFF, 0x008000};
    for (int mode = 0; mode < 4; ++mode) {
        draw(R"("c": {"class": "QCClear", "inputs": {"inputColor": "#ffffffff"}}, "s": )"
            + sprite(R"("inputColor": "#00ff0080", "inputBlending": )" + std::to_string(mode)));
        expect(100, 50, results[mode], "mode");
    }
    draw(R"("c": {"class": "QCClear", "inputs": {"inputColor": "#ffffffff"}}, "s": )"
        + sprite(R"("inputColor": "#00ff0060", "inputBlending": 3)"));
    expect(100, 50, 0xFFFFFF, "below the border of the alpha test");
}

TEST_F(Drawing, TestsDepthAndLetsTheLaterWinATie)
{
    const auto two = [](const std::string& first, const std::string& second) {
        return "\"a\": " + sprite(first) + ", \"b\": " + sprite(second);
    };
    draw(two(R"("inputColor": "#ff0000ff", "inputZ": 0)", R"("inputColor": "#00ff00ff", "inputZ": 0)"));
    expect(100, 50, 0x00FF00, "equal: the later");
    draw(two(R"("inputColor": "#ff0000ff", "inputZ": 0.2)", R"("inputColor": "#00ff00ff", "inputZ": 0)"));
    expect(100, 50, 0xFF0000, "nearer");
    draw(two(
        R"("inputColor": "#ff0000ff", "inputZ": 0.2)", R"("inputColor": "#00ff00ff", "inputZ": 0, "inputZBuffer": 0)"));
    expect(100, 50, 0x00FF00, "without a test");
    draw(two(
        R"("inputColor": "#ff0000ff", "inputZ": 0.2, "inputZBuffer": 2)", R"("inputColor": "#00ff00ff", "inputZ": 0)"));
    expect(100, 50, 0x00FF00, "read only: nothing was written");
    draw(two(
        R"("inputColor": "#ff0000ff", "inputZ": 0.2)", R"("inputColor": "#00ff00ff", "inputZ": 0, "inputZBuffer": 2)"));
    expect(100, 50, 0xFF0000, "read only still tests");
}

TEST_F(Drawing, CullsFacesByTheirSide)
{
    for (const bool turned : {false, true}) {
        for (int culling = 0; culling < 3; ++culling) {
            draw("\"s\": "
                + sprite(R"("inputColor": "#ffffffff", "inputRY": )" + std::string(turned ? "180" : "0")
                    + R"(, "inputCulling": )" + std::to_string(culling)));
            const bool seen = culling == 0 || (culling == 1) != turned;
            expect(100, 50, seen ? 0xFFFFFF : 0, turned ? "the back" : "the front");
        }
    }
}

// The frustum of 60 degrees: what stands at z appears 1.732 / (1.732 - z) as large.
TEST_F(Drawing, ShowsDistanceAsSize)
{
    for (const double z : {-2.0, 0.0, 0.8}) {
        draw("\"s\": "
            + sprite(
                R"("inputColor": "#ffffffff", "inputWidth": 0.5, "inputHeight": 0.1, "inputZ": )" + std::to_string(z)));
        int width = 0;
        for (int x = 0; x < kWidth; ++x)
            width += (at(x, 50) & 255) > 127;
        EXPECT_NEAR(width, 50 * std::sqrt(3) / (std::sqrt(3) - z), 1.1) << z;
    }
    draw("\"s\": " + sprite(R"("inputColor": "#ffffffff", "inputZ": 1.7)"));
    expect(100, 50, 0, "behind the near plane");
}

// Scale about the origin after translation, rotation first; nested cameras multiply.
TEST_F(Drawing, CamerasMoveTurnAndScale)
{
    const std::string dot
        = "\"s\": " + sprite(R"("inputColor": "#ffffffff", "inputX": 0.2, "inputWidth": 0.04, "inputHeight": 0.04)");
    const auto camera = [](const std::string& inputs, const std::string& inside) {
        return R"("c": {"class": "QCCamera", "inputs": {)" + inputs + R"(}, "patches": {)" + inside + "}}";
    };
    draw(camera(R"("inputTranslateX": 0.3, "inputTranslateY": 0.2)", dot));
    expect(150, 30, 0xFFFFFF);
    draw(camera(R"("inputRotateZ": 90)", dot));
    expect(100, 30, 0xFFFFFF, "counter-clockwise");
    draw(camera(R"("inputRotateZ": 90, "inputTranslateX": 0.3)", dot));
    expect(130, 30, 0xFFFFFF, "the rotation comes first");
    draw(camera(R"("inputTranslateX": 0.1, "inputScaleX": 2)", dot));
    expect(160, 50, 0xFFFFFF, "the scale comes last");
    draw(camera(R"("inputOriginX": 0.2, "inputRotateZ": 90, "inputScaleY": 2)", dot));
    expect(120, 50, 0xFFFFFF, "about the origin nothing moves");
    draw(camera(R"("inputTranslateX": 0.3)", camera(R"("inputRotateZ": 90)", dot)));
    expect(130, 30, 0xFFFFFF, "nested");
    draw(camera(R"("inputTranslateX": 0.3)", dot) + ", "
        + "\"t\": " + sprite(R"("inputColor": "#ff0000ff", "inputWidth": 0.04, "inputHeight": 0.04)"));
    expect(100, 50, 0xFF0000, "what comes after is where it was");
}

TEST_F(Drawing, ReplicatesOnTheWayToTheLastCopy)
{
    draw(R"("r": {"class": "QCReplicator", "inputs": {"inputCopies": 3, "inputTranslationX": 0.8}, "patches": {"s": )"
        + sprite(R"("inputColor": "#ffffffff", "inputX": -0.4, "inputWidth": 0.1, "inputHeight": 0.1)") + "}}");
    for (const int x : {60, 100, 140})
        expect(x, 50, 0xFFFFFF);
    expect(80, 50, 0);
}

TEST_F(Drawing, IteratesItsLayers)
{
    draw(R"("i": {"class": "QCIterator", "inputs": {"inputCount": 4}, "patches": {"v": {"class": "QCIteratorVariables"},
        "e": {"class": "QCExpression", "settings": {"expression": "p * 1.2 - 0.6"}}, "s": )"
        + sprite(R"("inputColor": "#ffffffff", "inputWidth": 0.1, "inputHeight": 0.1)")
        + R"(}, "connections": ["v.outputPosition > e.p", "e.outputResult > s.inputX"]})");
    for (const int x : {40, 80, 120, 160})
        expect(x, 50, 0xFFFFFF);
    expect(60, 50, 0);
}

TEST_F(Drawing, GradientsRunInFourDirections)
{
    const std::pair<int, int> starts[] = {{100, 99}, {0, 50}, {100, 0}, {199, 50}},
                              ends[] = {{100, 0}, {199, 50}, {100, 99}, {0, 50}};
    for (int direction = 0; direction < 4; ++direction) {
        draw(
            R"("g": {"class": "QCGradient", "inputs": {"inputColor1": "#ff0000ff", "inputColor2": "#0000ffff", "inputDirection": )"
            + std::to_string(direction) + "}}");
        expect(starts[direction].first, starts[direction].second, 0xFE0001, "the first colour at the start");
        expect(ends[direction].first, ends[direction].second, 0x0100FE, "the last at the end");
        expect(100, 50, 0x800080, "half way");
    }
    draw(
        R"("g": {"class": "QCGradient", "settings": {"numberOfPoints": 3}, "inputs": {"inputColor1": "#000000ff", "inputColor2": "#ff0000ff", "inputColor3": "#000000ff",
        "inputPosition2": 0.25, "inputDirection": 1}})");
    expect(50, 50, 0xFD0000, "the middle colour at its place");
    expect(199, 50, 0);
}

// The first pixel of a picture's memory is its top left on every way: as a sprite, as a billboard, through an image of
// its own, and through filters.
TEST_F(Drawing, ImagesStandUpright)
{
    const auto upright = [this](const char* why, int left = 75, int top = 25, int side = 50) {
        expect(left + side / 4, top + side / 4, 0xFF0000, why);
        expect(left + side * 3 / 4, top + side / 4, 0x00FF00, why);
        expect(left + side / 4, top + side * 3 / 4, 0x0000FF, why);
        expect(left + side * 3 / 4, top + side * 3 / 4, 0xFFFFFF, why);
    };
    const std::string in = R"("in": "x.input")",
                      x = R"("x": {"class": "QCSplitter", "settings": {"portClass": "QCGLImagePort"}}, )";
    const std::map<std::string, Value> picture{{"in", quarters(25)}};
    const std::string square = "\"s\": " + sprite(R"("inputWidth": 0.5, "inputHeight": 0.5)");
    draw(x + square, R"("x.output > s.inputImage")", in, picture);
    upright("a sprite");
    draw(x + R"("s": {"class": "QCBillboard"})", R"("x.output > s.inputImage")", in, picture);
    upright("a billboard, pixel for pixel");
    draw(x + R"("r": {"class": "QCRenderInImage", "inputs": {"inputWidth": 50, "inputHeight": 50}, "patches": {"i": )"
            + sprite(R"("inputWidth": 2, "inputHeight": 2)")
            + R"(}, "inputs": {"pic": "i.inputImage", "inputWidth": 50, "inputHeight": 50}}, )" + square,
        R"("x.output > r.pic", "r.outputImage > s.inputImage")", in, picture);
    upright("rendered in an image");
    for (const char* const filter : {R"("class": "QCImageFilter", "identifier": "CIAffineTransform")",
             R"("class": "QCImageFilter", "identifier": "CIColorMonochrome", "inputs": {"inputIntensity": 0})",
             R"("class": "QCImageMatrix")",
             R"("class": "QCImageResize", "inputs": {"inputWidth": 20, "inputHeight": 20})",
             R"("class": "QCImageColorMatchingProperties")",
             R"("class": "QCImageFilter", "identifier": "CIUnknownMap")"}) {
        if (std::string(filter).find("Unknown") != std::string::npos)
            continue;
        draw(x + "\"f\": {" + filter + "}, " + square, R"("x.output > f.inputImage", "f.outputImage > s.inputImage")",
            in, picture);
        upright(filter);
    }
    draw(
        x + R"("f": {"class": "QCImageFilter", "identifier": "CICrop", "inputs": {"inputRectangle_X": 0, "inputRectangle_Y": 25, "inputRectangle_Z": 25, "inputRectangle_W": 25}}, )"
            + square,
        R"("x.output > f.inputImage", "f.outputImage > s.inputImage")", in, picture);
    expect(100, 50, 0xFF0000, "a crop counts from the bottom");
    draw(x + R"("f": {"class": "QCImageMatrix", "inputs": {"inputScaleY": -1}}, )" + square,
        R"("x.output > f.inputImage", "f.outputImage > s.inputImage")", in, picture);
    expect(87, 37, 0x0000FF, "mirrored");
    expect(112, 62, 0x00FF00, "mirrored");
    draw(x + R"("c": {"class": "QCCube", "inputs": {"inputWidth": 0.5, "inputHeight": 0.5, "inputDepth": 0.0001}})",
        R"("x.output > c.inputImageFront")", in, picture);
    upright("the front of a cube");
}

TEST_F(Drawing, MultipliesImagesByColourAndMask)
{
    const std::string in = R"("in": "x.input")",
                      x = R"("x": {"class": "QCSplitter", "settings": {"portClass": "QCGLImagePort"}}, )";
    draw(x + "\"s\": " + sprite(R"("inputWidth": 0.5, "inputHeight": 0.5, "inputColor": "#8080ff80")"),
        R"("x.output > s.inputImage")", in, {{"in", quarters(25)}});
    expect(87, 37, 0x400000, "red, halved twice");
    expect(112, 62, 0x404080, "white");
    // The mask's grey: red counts 0.299, green 0.587, blue 0.114.
    draw(x + "\"s\": " + sprite(R"("inputWidth": 0.5, "inputHeight": 0.5)"), R"("x.output > s.inputMask")", in,
        {{"in", quarters(25)}});
    expect(112, 37, 0x969696, "through green");
    expect(112, 62, 0xFFFFFF, "through white");
    expect(87, 62, 0x1D1D1D, "through blue");
}

TEST_F(Drawing, BillboardsHaveFourSizes)
{
    const std::string in = R"("in": "b.inputImage")";
    const auto box = [this] {
        int left = kWidth, right = -1, top = kHeight, bottom = -1;
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                if ((at(x, y) & 0xFFFFFF) != 0) {
                    left = std::min(left, x);
                    right = std::max(right, x);
                    top = std::min(top, y);
                    bottom = std::max(bottom, y);
                }
            }
        }
        return std::to_string(left) + "," + std::to_string(top) + " " + std::to_string(right - left + 1) + "x"
            + std::to_string(bottom - top + 1);
    };
    const std::map<std::string, Value> picture{{"in", quarters(10)}};
    draw(R"("b": {"class": "QCBillboard", "inputs": {"inputX": 0.5, "inputY": 0.2}})", "", in, picture);
    EXPECT_EQ(box(), "140,20 20x20");
    draw(R"("b": {"class": "QCBillboard", "settings": {"sizeMode": "autoHeight"}, "inputs": {"inputScale": 0.6}})", "",
        in, picture);
    EXPECT_EQ(box(), "70,20 60x60") << "the width is given";
    draw(R"("b": {"class": "QCBillboard", "settings": {"sizeMode": "autoWidth"}, "inputs": {"inputScale": 0.4}})", "",
        in, picture);
    EXPECT_EQ(box(), "80,30 40x40") << "the height is given";
    draw(
        R"("b": {"class": "QCBillboard", "settings": {"sizeMode": "custom"}, "inputs": {"inputWidth": 1, "inputHeight": 0.3}})",
        "", in, picture);
    EXPECT_EQ(box(), "50,35 100x30");
    draw(
        R"("b": {"class": "QCBillboard", "settings": {"sizeMode": "custom"}, "inputs": {"inputWidth": 1, "inputHeight": 0.3}})");
    EXPECT_EQ(box(), "200,100 -200x-100") << "without an image nothing";
}

TEST_F(Drawing, LightDarkensTheSideTurnedAway)
{
    const auto cube = [](double turn) {
        return R"("l": {"class": "QCLighting", "inputs": {"inputObjectSpecular": 0, "positionX_1": 0, "positionY_1": 0, "positionZ_1": 4}, "patches": {"s": )"
            + sprite(R"("inputColor": "#ffffffff", "inputWidth": 0.3, "inputHeight": 0.3, "inputRY": )"
                + std::to_string(turn))
            + "}}";
    };
    draw(cube(0));
    expect(100, 50, 0xFFFFFF, "facing the light");
    draw(cube(60));
    const int half = int(at(100, 50) & 255);
    EXPECT_NEAR(half, 255 * (0.5 + 0.1), 12) << "the cosine of 60 degrees and the ambient light";
    draw(cube(180));
    expect(100, 50, 0x1A1A1A, "ambient light alone");
}

TEST_F(Drawing, LinesRunFromColourToColour)
{
    draw(
        R"("l": {"class": "QCLine", "inputs": {"inputStartX": -0.8, "inputEndX": 0.8, "inputStartColor": "#ff0000ff", "inputEndColor": "#0000ffff", "inputLineWidth": 6}})");
    for (const int y : {48, 50, 51}) {
        EXPECT_NEAR(int(at(21, y) >> 16 & 255), 254, 4);
        EXPECT_NEAR(int(at(178, y) & 255), 254, 4);
        expect(100, y, 0x7F0080);
    }
    expect(100, 45, 0);
    expect(100, 55, 0);
    expect(10, 50, 0);
}

TEST_F(Drawing, MasksColours)
{
    draw(R"("m": {"class": "QCColorMask", "inputs": {"inputRed": false}, "patches": {"s": )"
        + sprite(R"("inputColor": "#ffffffff")") + "}}");
    expect(100, 50, 0x00FFFF);
}

// Corner colours through all the ways that corners take: the order in which shaders hand on what they have must not
// matter to the driver.
TEST_F(Drawing, ColoursAreTheOnesAskedFor)
{
    const std::string in = R"("in": "x.input")",
                      x = R"("x": {"class": "QCSplitter", "settings": {"portClass": "QCGLImagePort"}}, )";
    Bitmap white{8, 8, std::vector<std::uint32_t>(64, 0xFFFFFFFFu)};
    const Value picture(
        std::shared_ptr<const NSImage>(std::make_shared<NSImage>(std::make_shared<const Bitmap>(white))));
    for (const std::uint32_t rgb : {0xFF0000u, 0x00FF00u, 0x0000FFu, 0x336699u}) {
        char color[16];
        std::snprintf(color, sizeof color, "#%06xff", rgb);
        const std::string inputs = R"("inputColor": ")" + std::string(color) + "\"";
        draw(x + "\"s\": " + sprite(inputs), R"("x.output > s.inputImage")", in, {{"in", picture}});
        expect(100, 50, rgb, "a sprite with an image");
        draw("\"s\": " + sprite(inputs));
        expect(100, 50, rgb, "a sprite without");
        draw(
            x + R"("s": {"class": "QCBillboard", "settings": {"sizeMode": "custom"}, "inputs": {"inputWidth": 1, "inputHeight": 0.5, )"
                + inputs + "}}",
            R"("x.output > s.inputImage")", in, {{"in", picture}});
        expect(100, 50, rgb, "a billboard");
        draw(x + "\"s\": " + sprite(inputs + R"(, "inputRY": 20)"),
            R"("x.output > s.inputImage", "x.output > s.inputMask")", in, {{"in", picture}});
        expect(100, 50, rgb, "with a mask, in perspective");
        draw(R"("s": {"class": "QCSphere", "inputs": {"inputScale": 0.5, )" + inputs + "}}");
        expect(100, 50, rgb, "a sphere");
        draw(
            R"("s": {"class": "QCParticleSystem", "inputs": {"inputCount": 1, "inputVelocityMinX": 0, "inputVelocityMaxX": 0, "inputVelocityMinY": 0, "inputVelocityMaxY": 0,
            "inputMinSize": 0.5, "inputMaxSize": 0.5, "_time": 1.5, )"
            + inputs + R"(}, "settings": {"timebase": "external"}})");
        expect(100, 50, rgb, "a particle");
    }
}

TEST_F(Drawing, TextIsWhiteOnNothing)
{
    draw(
        R"("c": {"class": "QCClear", "inputs": {"inputColor": "#0000ffff"}}, "t": {"class": "QCTextImage", "inputs": {"inputString": "████", "inputGlyphSize": 0.4}}, "b": {"class": "QCBillboard"})",
        R"("t.outputImage > b.inputImage")");
    expect(2, 2, 0x0000FF, "around it the ground");
    int white = 0;
    for (const std::uint32_t pixel : pixels) {
        white += (pixel & 0xFFFFFF) == 0xFFFFFF;
        EXPECT_EQ(pixel & 255, 255u) << "between the ground and white";
        EXPECT_EQ(pixel >> 16 & 255, pixel >> 8 & 255) << "no colour";
    }
    EXPECT_GT(white, 500);
}

// A blur spreads what is there and takes nothing away; outside its image is nothing.
TEST_F(Drawing, BlurKeepsTheMean)
{
    const std::string in = R"("in": "f.inputImage")";
    Bitmap bitmap{40, 40, std::vector<std::uint32_t>(1600, 0xFF808080u)};
    const Value picture(
        std::shared_ptr<const NSImage>(std::make_shared<NSImage>(std::make_shared<const Bitmap>(bitmap))));
    for (const double radius : {0.1, 2.0, 6.0}) {
        draw(R"("f": {"class": "QCImageFilter", "identifier": "CIGaussianBlur", "inputs": {"inputRadius": )"
                + std::to_string(radius) + R"(}}, "b": {"class": "QCBillboard", "inputs": {"inputBlending": 0}})",
            R"("f.outputImage > b.inputImage")", in, {{"in", picture}});
        double sum = 0;
        for (const std::uint32_t pixel : pixels)
            sum += pixel & 255;
        EXPECT_NEAR(sum / (1600 * 128.0), 1, 0.03) << radius;
    }
}

// A composition that leaves out its Clear paints over what was there: trails. A new size keeps the picture.
TEST_F(Drawing, KeepsThePictureBetweenFramesAndSizes)
{
    auto canvas = GLCanvas::make(kWidth, kHeight, true);
    canvas->clear({1, 0, 0, 1}, true, true, 0xF);
    ASSERT_TRUE(canvas->resize(100, 80));
    pixels.resize(100 * 80);
    canvas->readInto(pixels.data(), 100);
    EXPECT_EQ(pixels[40 * 100 + 50], 0xFFFF0000u);
    EXPECT_FALSE(canvas->resize(0, 5));
    EXPECT_FALSE(canvas->resize(100'000, 100'000));
    canvas->clear({0, 1, 0, 1}, true, false, 0xF);
    canvas->readInto(pixels.data(), 100);
    EXPECT_EQ(pixels[0], 0xFF00FF00u) << "still usable";
}

} // namespace vitrel::qc
