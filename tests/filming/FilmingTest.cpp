#include "programs/filming/FilmFile.h"
#include "programs/filming/Y4MWriter.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <cstring>
#include <numeric>

namespace vitrel {
namespace {

using testing::ElementsAre, testing::HasSubstr;

// What another program reads, a line for each frame.
std::vector<std::string> identified(const std::string& format, const std::string& file)
{
    std::vector<std::string> lines;
    FILE* const pipe = popen(("identify -format '" + format + "\\n' '" + file + "' 2>&1").c_str(), "r");
    char line[256];
    while (pipe && std::fgets(line, sizeof line, pipe))
        lines.emplace_back(line, std::strcspn(line, "\n"));
    return pipe && pclose(pipe) == 0 ? lines : std::vector<std::string>();
}

// Frames that go from one colour to another, each alike.
bool shoot(
    const std::string& path, const FilmFormat& format, const std::vector<std::uint32_t>& colours, bool whole = true)
{
    auto film = FilmFile::make(path, format);
    if (!film)
        return false;
    for (const std::uint32_t colour : colours) {
        const std::vector<std::uint32_t> pixels(std::size_t(format.width) * std::size_t(format.height), colour);
        if (!(*film)->add(pixels.data()))
            return false;
    }
    return !whole || (*film)->finish();
}

TEST(FilmFormat, KnowsAheadHowMuchThereWillBe)
{
    const FilmFormat gif{FilmKind::GIF, 8, 8, 30, 1}, webp{FilmKind::WebP, 8, 8, 30, 1};
    const auto sum = [](const std::vector<int>& delays) { return std::accumulate(delays.begin(), delays.end(), 0); };
    EXPECT_EQ(gif.frames(), 30);
    EXPECT_THAT(gif.delays(), testing::SizeIs(30));
    EXPECT_THAT(gif.delays(), testing::Each(testing::AnyOf(30, 40)));
    EXPECT_EQ(sum(gif.delays()), 1000) << "without a drift";
    EXPECT_THAT(webp.delays(), testing::Each(testing::AnyOf(33, 34)));
    EXPECT_EQ(sum(webp.delays()), 1000);
    EXPECT_EQ((FilmFormat{FilmKind::GIF, 8, 8, 25, 0.001}).frames(), 1);
    EXPECT_DOUBLE_EQ(gif.timeOf(15), 0.5);
    // 6 bytes ahead of each frame, and half as much chroma as luma, of odd sizes rounded up
    EXPECT_EQ(Y4MWriter::bytesOfFrame(4, 2), 6u + 8 + 4);
    EXPECT_EQ(Y4MWriter::bytesOfFrame(3, 3), 6u + 9 + 8);

    EXPECT_EQ((FilmFormat{FilmKind::WebP, 640, 360, 30, 120}).whyNot(), "");
    EXPECT_THAT((FilmFormat{FilmKind::WebP, 1280, 720, 30, 60}).whyNot(), HasSubstr("fewer --seconds"));
    EXPECT_THAT((FilmFormat{FilmKind::GIF, 1, 200, 50, 1001}).whyNot(), HasSubstr("10,000,000"));
    EXPECT_EQ((FilmFormat{FilmKind::Y4M, 1280, 720, 30, 600}).whyNot(), "");
    EXPECT_THAT((FilmFormat{FilmKind::GIF, 8, 8, 51, 1}).whyNot(), HasSubstr("50 frames"));
    EXPECT_THAT((FilmFormat{FilmKind::Y4M, 8, 8, 240, 86400}).whyNot(), HasSubstr("a million"));
    EXPECT_EQ(filmKindOf("a/B.WebP"), FilmKind::WebP);
    EXPECT_EQ(filmKindOf("-"), FilmKind::Y4M);
    EXPECT_EQ(filmKindOf("a.qtz"), std::nullopt);
}

TEST(Y4M, HasTheColoursOfTelevision)
{
    const TemporaryFolder folder;
    const std::string path = folder / "f.y4m";
    const FilmFormat format{FilmKind::Y4M, 3, 2, 30000.0 / 1001, 0.1};
    // White, black, red, green, blue: 8-bit values of ITU-R BT.601, section 2.5.
    const std::tuple<std::uint32_t, int, int, int> colours[] = {{0xFFFFFFFF, 235, 128, 128}, {0xFF000000, 16, 128, 128},
        {0xFFFF0000, 81, 90, 240}, {0xFF00FF00, 145, 54, 34}, {0xFF0000FF, 41, 240, 110}};
    for (const auto& [colour, luma, blue, red] : colours) {
        ASSERT_TRUE(shoot(path, format, {colour, colour, colour}));
        const std::string film = TemporaryFolder::read(path);
        const std::string header = "YUV4MPEG2 W3 H2 F30000:1001 Ip A1:1 C420jpeg XCOLORRANGE=LIMITED\n";
        ASSERT_EQ(film.size(), header.size() + 3 * (6 + 6 + 2 + 2));
        EXPECT_EQ(film.size(), format.bytes());
        EXPECT_EQ(film.substr(0, header.size()), header);
        const std::string frame = film.substr(header.size() + 2 * 16);
        EXPECT_EQ(frame.substr(0, 6), "FRAME\n");
        for (std::size_t k = 6; k < 16; ++k)
            EXPECT_NEAR(std::uint8_t(frame[k]), k < 12 ? luma : k < 14 ? blue : red, 1) << k;
    }
    Bytes mixed;
    const std::uint32_t pixels[] = {0xFFFF0000, 0xFFFF0000, 0xFF0000FF, 0xFF0000FF}; // red above blue
    Y4MWriter::append(mixed, pixels, 2, 2);
    EXPECT_THAT(std::vector<int>(mixed.begin() + 6, mixed.end()),
        ElementsAre(81, 81, 41, 41, testing::AllOf(testing::Ge(164), testing::Le(166)),
            testing::AllOf(testing::Ge(174), testing::Le(176))));
}

TEST(Film, IsReadByOthersAsItWasMeant)
{
    const TemporaryFolder folder;
    const std::vector<std::uint32_t> colours{0xFFFF0000, 0xFF00FF00, 0xFF0000FF};
    const std::tuple<const char*, FilmKind, double, std::string, std::string> cases[]
        = {{"f.webp", FilmKind::WebP, 30, "32x18 3", "ANIM"},
            {"f.gif", FilmKind::GIF, 25, "32x18 4", {"NETSCAPE2.0\x03\x01\0\0", 15}}};
    for (const auto& [name, kind, rate, shown, forEver] : cases) {
        const std::string path = folder / name;
        ASSERT_TRUE(shoot(path, {kind, 32, 18, rate, 3 / rate}, colours)) << name;
        EXPECT_EQ(folder.count(), 1u) << "nothing beside it";
        const auto frames = identified("%wx%h %T %[fx:p{3,3}.r>0.9] %[fx:p{3,3}.g>0.9] %[fx:p{3,3}.b>0.9]", path);
        if (frames.empty())
            GTEST_SKIP() << "without the program";
        EXPECT_THAT(frames, ElementsAre(shown + " 1 0 0", shown + " 0 1 0", shown + " 0 0 1"));
        EXPECT_THAT(TemporaryFolder::read(path), HasSubstr(forEver));
        std::filesystem::remove(path);
    }
}

TEST(Film, IsWholeOrNotThere)
{
    const TemporaryFolder folder;
    for (const auto& [name, kind] :
        {std::pair("f.webp", FilmKind::WebP), {"f.gif", FilmKind::GIF}, {"f.y4m", FilmKind::Y4M}}) {
        const std::string path = folder.write(name, "what was there");
        ASSERT_TRUE(shoot(path, {kind, 64, 64, 10, 1}, {1, 2, 3}, false));
        EXPECT_EQ(TemporaryFolder::read(path), "what was there") << name;
        EXPECT_EQ(folder.count(), 1u) << name;
        std::filesystem::remove(path);
    }
    EXPECT_FALSE(FilmFile::make(folder / "no/f.gif", {FilmKind::GIF, 8, 8, 10, 1}));
    EXPECT_FALSE(shoot("/dev/full", {FilmKind::GIF, 64, 64, 10, 0.2}, {1, 2})) << "written into, which fails";
    EXPECT_TRUE(shoot("/dev/null", {FilmKind::WebP, 64, 64, 10, 0.2}, {1, 2}));
}

} // namespace
} // namespace vitrel
