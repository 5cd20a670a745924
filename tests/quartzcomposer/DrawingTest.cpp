#include "platform/appkit/NSImage.h"
#include "platform/quartzcomposer/drawing/GLCanvas.h"
#include "platform/quartzcomposer/drawing/GLContext.h"
#include "platform/quartzcomposer/drawing/Smoothness.h"
#include "quartzcomposer/Play.h"

#include <epoxy/gl.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <set>

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

    // Plays one frame over black; "x.output" is the picture, if there is one.
    void draw(const std::string& patches, const std::string& connections = "", const Value& picture = {})
    {
        const bool has = !picture.isNothing();
        const CompositionFile file = fileOf("{inputs: {" + std::string(has ? "in: 'x.input'" : "") + "}, patches: {"
            + (has ? "x: QCSplitter with {portClass: 'QCGLImagePort'}, " : "") + patches + "}, connections: ["
            + connections + "]}");
        CompositionGraph graph(file, registry());
        EXPECT_EQ(graph.dangling(), 0);
        EXPECT_TRUE(graph.unsupported().empty());
        EXPECT_EQ(graph.setInput("in", picture), has);
        auto canvas = GLCanvas::make(kWidth, kHeight, graph.needsDepth());
        ASSERT_TRUE(canvas);
        Stage stage(*canvas);
        canvas->clear({0, 0, 0, 1}, true, true, 0xF);
        graph.frame(stage, 0, Date::fromReferenceDate(0));
        pixels.resize(kWidth * kHeight);
        canvas->readInto(pixels.data(), kWidth);
        EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
    }
    // How many pixels of a still composition differ from the first frame once what can be kept is kept; by no more than
    // `most` steps of a channel.
    int differingOnceSettled(const CompositionFile& file, int most)
    {
        CompositionGraph graph(file, registry());
        auto canvas = GLCanvas::make(kWidth - 1, kHeight - 3, false); // ends within a pixel of what is drawn small
        Stage stage(*canvas);
        std::vector<std::uint32_t> first(kWidth * kHeight);
        pixels.resize(first.size());
        for (int frame = 0; frame < 6; ++frame) {
            graph.frame(stage, frame, Date::fromReferenceDate(0));
            canvas->readInto(frame ? pixels.data() : first.data(), kWidth);
        }
        int count = 0;
        for (std::size_t k = 0; k < first.size(); ++k) {
            count += pixels[k] != first[k];
            for (const int shift : {0, 8, 16})
                EXPECT_NEAR(pixels[k] >> shift & 255, first[k] >> shift & 255, most)
                    << k % kWidth << ", " << k / kWidth;
        }
        return count;
    }
    std::uint32_t at(int x, int y) const { return pixels.at(static_cast<std::size_t>(y * kWidth + x)); }
    struct Point {
        int x, y;
        std::uint32_t rgb;
        const char* why = "";
    };
    // Within two steps of each channel, but for alpha.
    void expect(const std::vector<Point>& points) const
    {
        for (const auto& [x, y, rgb, why] : points) {
            for (int shift : {16, 8, 0})
                EXPECT_NEAR(int(at(x, y) >> shift & 255), int(rgb >> shift & 255), 2)
                    << std::hex << at(x, y) << " for " << rgb << " at " << std::dec << x << ", " << y << " " << why;
        }
    }

    std::vector<std::uint32_t> pixels;
};

// The colours above and below, each a square of `side` pixels.
Value quarters(int side, std::array<std::uint32_t, 4> colors = {0xFFFF0000u, 0xFF00FF00u, 0xFF0000FFu, 0xFFFFFFFFu})
{
    Bitmap bitmap{2 * side, 2 * side, {}};
    for (int y = 0; y < 2 * side; ++y) {
        for (int x = 0; x < 2 * side; ++x)
            bitmap.pixels.push_back(colors[std::size_t(x >= side) + 2 * std::size_t(y >= side)]);
    }
    return Value(
        std::shared_ptr<const NSImage>(std::make_shared<NSImage>(std::make_shared<const Bitmap>(std::move(bitmap)))));
}

} // namespace

TEST_F(Drawing, KeepsHowOpaqueItIs)
{
    draw("c: QCClear {inputColor: '#ff800080'}");
    expect({{0, 0, 0x804000}, {199, 99, 0x804000}});
    EXPECT_NEAR(int(at(5, 5) >> 24), 128, 1);
}

// The frustum of 60 degrees: what stands at z appears 1.732 / (1.732 - z) as large.
TEST_F(Drawing, ShowsDistanceAsSize)
{
    for (const double z : {-2.0, 0.0, 0.8}) {
        draw("s: QCSprite {inputWidth: 0.5, inputHeight: 0.1, inputZ: " + std::to_string(z) + "}");
        int width = 0;
        for (int x = 0; x < kWidth; ++x)
            width += (at(x, 50) & 255) > 127;
        EXPECT_NEAR(width, 50 * std::sqrt(3) / (std::sqrt(3) - z), 1.1) << z;
    }
}

// The first pixel of a picture's memory is its top left on every way: as a sprite, as a billboard, through an image of
// its own, and through filters.
TEST_F(Drawing, ImagesStandUpright)
{
    const Value picture = quarters(25);
    const std::string square = "s: QCSprite {inputWidth: 0.5, inputHeight: 0.5}",
                      filtered = "'x.output > f.inputImage', 'f.outputImage > s.inputImage'";
    const std::pair<std::string, std::string> ways[] = {
        {square, "'x.output > s.inputImage'"},
        {"s: QCBillboard", "'x.output > s.inputImage'"},
        {"c: QCCube {inputWidth: 0.5, inputHeight: 0.5, inputDepth: 0.0001}", "'x.output > c.inputImageFront'"},
        {"r: QCRenderInImage {pic: 'i.inputImage', inputWidth: 50, inputHeight: 50} patches {"
         "i: QCSprite {inputWidth: 2, inputHeight: 2}}, "
                + square,
            "'x.output > r.pic', 'r.outputImage > s.inputImage'"},
        {"f: QCImageFilter/CIAffineTransform, " + square, filtered},
        {"f: QCImageFilter/CIColorMonochrome {inputIntensity: 0}, " + square, filtered},
        {"f: QCImageMatrix, " + square, filtered},
        {"f: QCImageResize {inputWidth: 20, inputHeight: 20}, " + square, filtered},
        {"f: QCImageColorMatchingProperties, " + square, filtered},
    };
    for (const auto& [patches, connections] : ways) {
        draw(patches, connections, picture);
        const char* const way = patches.c_str();
        expect({{87, 37, 0xFF0000, way}, {112, 37, 0x00FF00, way}, {87, 62, 0x0000FF, way}, {112, 62, 0xFFFFFF, way}});
    }
    draw("f: QCImageFilter/CICrop {inputRectangle_X: 0, inputRectangle_Y: 25, inputRectangle_Z: 25, "
         "inputRectangle_W: 25}, "
            + square,
        filtered, picture);
    expect({{100, 50, 0xFF0000, "a crop counts from the bottom"}});
    draw("f: QCImageMatrix {inputScaleY: -1}, " + square, filtered, picture);
    expect({{87, 37, 0x0000FF, "mirrored"}, {112, 62, 0x00FF00, "mirrored"}});
}

// Corner colours through all the ways that corners take: the order in which shaders hand on what they have must not
// matter to the driver.
TEST_F(Drawing, ColoursAreTheOnesAskedFor)
{
    const std::pair<const char*, const char*> ways[] = {
        {"QCSprite {", "'x.output > s.inputImage'"},
        {"QCSprite {", ""},
        {"QCBillboard with {sizeMode: 'custom'} inputs {inputWidth: 1, inputHeight: 0.5, ",
            "'x.output > s.inputImage'"},
        {"QCSprite {inputRY: 20, ", "'x.output > s.inputImage', 'x.output > s.inputMask'"},
        {"QCSphere {inputScale: 0.5, ", ""},
        {"QCParticleSystem with {timebase: 'external'} inputs {inputCount: 1, inputVelocityMinX: 0, "
         "inputVelocityMaxX: 0, inputVelocityMinY: 0, inputVelocityMaxY: 0, inputMinSize: 0.5, inputMaxSize: 0.5, "
         "_time: 1.5, ",
            ""},
    };
    const Value white = quarters(4, {0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu});
    for (const std::uint32_t rgb : {0xFF0000u, 0x00FF00u, 0x0000FFu, 0x336699u}) {
        char color[32];
        std::snprintf(color, sizeof color, "inputColor: '#%06xff'}", rgb);
        for (const auto& [patch, connections] : ways) {
            draw("s: " + std::string(patch) + color, connections, *connections ? white : Value());
            expect({{100, 50, rgb, patch}});
        }
    }
}

TEST_F(Drawing, TextIsWhiteOnNothing)
{
    draw(R"(c: QCClear {inputColor: '#0000ffff'}, t: QCTextImage {inputString: '████', inputGlyphSize: 0.4},
        b: QCBillboard)",
        "'t.outputImage > b.inputImage'");
    expect({{2, 2, 0x0000FF, "around it the ground"}});
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
    for (const char* const radius : {"0.1", "2", "6"}) {
        draw("f: QCImageFilter/CIGaussianBlur {inputRadius: " + std::string(radius)
                + "}, b: QCBillboard {inputBlending: 0}",
            "'x.output > f.inputImage', 'f.outputImage > b.inputImage'",
            quarters(20, {0xFF808080u, 0xFF808080u, 0xFF808080u, 0xFF808080u}));
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
    ASSERT_TRUE(canvas->resize(101, 80, 2));
    EXPECT_EQ(canvas->width(), 101) << "as compositions see it";
    EXPECT_EQ(canvas->pixelsWide(), 51);
    EXPECT_EQ(canvas->pixelsHigh(), 40);
    canvas->readInto(pixels.data(), 51);
    EXPECT_EQ(pixels[40 * 51 - 1], 0xFF00FF00u) << "the picture fills it to its last pixel";
}

// Solids that hide each other, some of them cut open by the eye's near plane or standing in each other: the picture
// must be that of the calls in their order.
TEST_F(Drawing, ShowsTheSameThoughNearSpheresComeFirst)
{
    struct InOrder final : Canvas {
        explicit InOrder(GLCanvas& canvas)
            : canvas(canvas)
        { }
        int width() const override { return canvas.width(); }
        int height() const override { return canvas.height(); }
        void clear(const NSColor& color, bool c, bool d, std::uint8_t mask) override
        {
            canvas.clear(color, c, d, mask);
        }
        void draw(Primitive primitive, std::span<const CanvasVertex> vertices, const Paint& paint) override
        {
            Paint plain = paint;
            plain.mayComeEarlier = false;
            canvas.draw(primitive, vertices, plain);
        }
        void beginImage(int w, int h, bool depth, bool deep) override { canvas.beginImage(w, h, depth, deep); }
        ImageRef endImage() override { return canvas.endImage(); }
        GLCanvas& canvas;
    };
    const CompositionFile file = fileOf(R"({patches: {
        c: QCClear {inputColor: '#000000ff'},
        i: QCIterator {inputCount: 60} patches {
            v: QCIteratorVariables, x: QCExpression with {expression: 'sin(i * 77) * 1.2'},
            y: QCExpression with {expression: 'sin(i * 131) * 0.5'}, z: QCExpression with {expression: 'sin(i * 211) * 2.2'},
            d: QCExpression with {expression: '0.3 + 0.9 * (1 + sin(i * 37))'},
            r: QCColorFromComponents {input2: 0.3}, s: QCSphere}
            connections ['v.outputIndex > x.i', 'v.outputIndex > y.i', 'v.outputIndex > z.i', 'v.outputIndex > d.i',
                'v.outputPosition > r.input1', 'd.outputResult > r.input3', 'x.outputResult > s.inputX',
                'y.outputResult > s.inputY', 'z.outputResult > s.inputZ', 'd.outputResult > s.inputScale',
                'r.outputColor > s.inputColor']}})");
    auto canvas = GLCanvas::make(640, 320, true);
    ASSERT_TRUE(canvas);
    InOrder inOrder(*canvas);
    std::vector<std::uint32_t> pictures[2];
    for (const bool ordered : {false, true}) {
        CompositionGraph graph(file, registry());
        Stage stage(ordered ? static_cast<Canvas&>(inOrder) : *canvas);
        graph.frame(stage, 0, Date::fromReferenceDate(0));
        pictures[ordered].resize(640 * 320);
        canvas->readInto(pictures[ordered].data(), 640);
    }
    EXPECT_EQ(pictures[0], pictures[1]);
    EXPECT_GT(std::set<std::uint32_t>(pictures[0].begin(), pictures[0].end()).size(), 5u);
}

// A turned edge has steps without samples, and shades with them; an upright one never asks for any.
TEST_F(Drawing, SmoothsEdges)
{
    const auto shades = [&](const char* sprite, int samples) {
        const CompositionFile file = fileOf(std::string("{patches: {c: QCClear, s: ") + sprite + "}}");
        CompositionGraph graph(file, registry());
        auto canvas = GLCanvas::make(kWidth, kHeight, true);
        EXPECT_TRUE(canvas->resize(kWidth, kHeight, 1, samples));
        Stage stage(*canvas);
        graph.frame(stage, 0, Date::fromReferenceDate(0));
        pixels.resize(kWidth * kHeight);
        canvas->readInto(pixels.data(), kWidth);
        return std::pair(std::set<std::uint32_t>(pixels.begin(), pixels.end()).size(), canvas->hasRoughEdges());
    };
    EXPECT_EQ(shades("QCSprite {inputRZ: 20}", 0), std::pair(std::size_t(2), true));
    EXPECT_EQ(shades("QCSprite {inputRZ: 20}", 4), std::pair(std::size_t(5), true)); // 0 to 4 samples
    EXPECT_EQ(shades("QCSprite {inputWidth: 0.5}", 0), std::pair(std::size_t(2), false));
}

TEST(Smoothness, IsWhatIsLostBetweenSamples)
{
    std::vector<std::uint32_t> row(32, 0xFF000000u);
    for (std::uint32_t x = 0; x < 32; ++x)
        row[x] += x < 16 ? 2 * x : 62 - 2 * x; // a roof: a pixel at its top is off by two for each pixel of distance
    const Smoothness smoothness = smoothnessOf(row, 32, 1);
    EXPECT_EQ(smoothness.border, 255);
    EXPECT_EQ(lossOf(smoothness, 2), 1); // the top is two pixels wide
    EXPECT_EQ(lossOf(smoothness, 2.5), 3);
    EXPECT_EQ(lossOf(smoothness, 8), 7);
    EXPECT_EQ(lossOf(smoothness, 8.5), 255);
}

// Smooth layers ahead of all else have fewer pixels once they have settled: nobody sees it. A sharp one, one with an
// edge within the picture, and what lies over them stay as they are to the pixel.
TEST_F(Drawing, SmoothGroundsLookTheSame)
{
    if (!GLContext::current()->software())
        GTEST_SKIP();
    const std::string linear
        = "g: QCImageFilter/CILinearGradient {inputPoint0_X: 0, inputPoint0_Y: 0, inputPoint1_X: 0, "
          "inputPoint1_Y: 100, inputColor0: '#402010ff', inputColor1: '#c0a0ffff'}, ";
    const std::string glow
        = "g: QCImageFilter/CIGaussianGradient {inputCenter_X: 100, inputCenter_Y: 50, inputRadius: 50, "
          "inputColor0: '#ffa05018', inputColor1: '#00000000'}, ";
    const std::string checks = "g: QCImageFilter/CICheckerboardGenerator {inputWidth: 7}, ";
    const auto differing = [&](const std::string& image, const std::string& place, bool twice) {
        const CompositionFile file = fileOf("{patches: {c: QCClear {inputColor: '#101030ff'}, " + image
            + "k: QCImageFilter/CICrop {inputRectangle_X: 0, inputRectangle_Y: 0, inputRectangle_Z: 200, "
              "inputRectangle_W: 100}, b: QCBillboard {inputPixelAligned: false, "
            + place + "} with {sizeMode: 'custom'}, "
            + (twice ? "d: QCBillboard {inputPixelAligned: false, " + place + "} with {sizeMode: 'custom'}, " : "")
            + "s: QCSprite {inputWidth: 0.1, inputHeight: 0.1, inputX: 0.4, inputColor: '#00ff00ff'}}, connections: "
              "['g.outputImage > k.inputImage', 'k.outputImage > b.inputImage'"
            + (twice ? ", 'k.outputImage > d.inputImage'" : "") + "]}");
        const int count = differingOnceSettled(file, 2);
        EXPECT_EQ(at(140, 50), 0xFF00FF00u);
        return count;
    };
    EXPECT_GT(differing(linear, "inputWidth: 2.1, inputHeight: 1.05, inputBlending: 0", false), 1000);
    EXPECT_GT(differing(glow, "inputWidth: 2.1, inputHeight: 1.05, inputBlending: 1", false), 1000);
    EXPECT_EQ(differing(linear, "inputWidth: 2.2, inputHeight: 1.1, inputX: 0.3, inputBlending: 1", true), 0);
    EXPECT_EQ(differing(glow, "inputWidth: 2.2, inputHeight: 1.1, inputX: 0.3, inputBlending: 0", true), 0);
    EXPECT_EQ(differing(checks, "inputWidth: 2.1, inputHeight: 1.05, inputBlending: 0", false), 0);
}

// Image and mask become one texture once they have stayed the same for some frames, and that shows what both did; a
// mask whose edge is finer than the image's pixels stays as it is.
TEST_F(Drawing, AMaskedPictureStaysAsItIs)
{
    const auto differing = [&](const char* card) {
        const CompositionFile file = fileOf(
            "{patches: {c: QCClear {inputColor: '#000000ff'}, g: QCImageFilter/CICheckerboardGenerator {inputWidth: "
            "12, inputColor0: '#ff8000ff', inputColor1: '#0080ff80'}, k: QCImageFilter/CICrop {inputRectangle_X: 0, "
            "inputRectangle_Y: 0, inputRectangle_Z: "
            + std::string(card)
            + "}, m: QCImageFilter/CIGaussianGradient {inputCenter_X: 50, inputCenter_Y: 50, inputRadius: 60, "
              "inputColor0: '#ffffffff', inputColor1: '#000000ff'}, n: QCImageFilter/CICrop {inputRectangle_X: 0, "
              "inputRectangle_Y: 0, inputRectangle_Z: 100, inputRectangle_W: 100}, s: QCSprite {inputWidth: 0.5, "
              "inputHeight: 0.5, inputX: 0.3, inputBlending: 1}}, connections: ['g.outputImage > k.inputImage', "
              "'m.outputImage > n.inputImage', 'k.outputImage > s.inputImage', 'n.outputImage > s.inputMask']}");
        const int count = differingOnceSettled(file, 12);
        EXPECT_GT(std::set<std::uint32_t>(pixels.begin(), pixels.end()).size(), 20u);
        return count;
    };
    EXPECT_GT(differing("80, inputRectangle_W: 80"), 0);
    EXPECT_EQ(differing("20, inputRectangle_W: 20"), 0);
}

} // namespace vitrel::qc
