#include "platform/appkit/FadingSurface.h"
#include "platform/appkit/MemorySurface.h"
#include "support/ManualLoop.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

constexpr std::uint32_t kDesk = 0xFF6496C8; // 100, 150, 200

class FadingSurfaceTest : public testing::Test, protected ManualLoop
{
protected:
    void make(std::uint32_t desk = kDesk, Seconds length = Seconds(0.5))
    {
        auto memory = std::make_unique<MemorySurface>(3, 2);
        inner = memory.get();
        surface = std::make_unique<FadingSurface>(
            loop, std::move(memory), desk ? Bitmap{3, 2, std::vector<std::uint32_t>(6, desk)} : Bitmap{},
            [this] { ++ended; }, length);
    }
    void draw(std::uint32_t colour)
    {
        const FrameMemory memory = surface->frameMemory();
        for (int k = 0; k < surface->height(); ++k)
            std::fill_n(memory.pixels + std::size_t(k) * memory.wordsPerRow, surface->width(), colour);
        surface->present();
    }
    // The colour on the screen, the same everywhere.
    std::uint32_t shown()
    {
        const auto picture = inner->shown();
        if (!picture)
            return 0;
        EXPECT_THAT(picture->pixels, testing::Each(picture->pixels.front()));
        return picture->pixels.front();
    }
    void pass(double seconds) { fastForwardBy(Seconds(seconds)); }

    MemorySurface* inner = nullptr;
    std::unique_ptr<FadingSurface> surface;
    int ended = 0;
};

TEST_F(FadingSurfaceTest, RisesFromTheDesktopInHalfASecondThoughThePictureStandsStill)
{
    make();
    pass(1);
    EXPECT_EQ(inner->frames(), 0u) << "the fade waits for the picture";
    draw(0xFFFFFFFF);
    EXPECT_EQ(shown(), kDesk) << "no flash at the start";
    pass(0.25);
    EXPECT_NEAR(shown() >> 16 & 255, 178, 8) << "halfway from 100 to 255, by a frame that nobody drew";
    EXPECT_NEAR(shown() & 255, 228, 4);
    EXPECT_EQ(shown() >> 24, 255u);
    EXPECT_EQ(ended, 0);
    draw(0xFF000000);
    EXPECT_NEAR(shown() & 255, 100, 8) << "a new frame goes on where the fade is";
    pass(0.3);
    EXPECT_EQ(shown(), 0xFF000000);
    EXPECT_EQ(ended, 1);
    const unsigned frames = inner->frames();
    pass(1);
    EXPECT_EQ(inner->frames(), frames) << "nothing more by itself";
    draw(0xFF123456);
    EXPECT_EQ(shown(), 0xFF123456);
    EXPECT_EQ(ended, 1);
}

TEST_F(FadingSurfaceTest, LastsAsLongAsItIsTold)
{
    make(kDesk, Seconds(4));
    draw(0xFFFFFFFF);
    pass(2);
    EXPECT_NEAR(shown() >> 16 & 255, 178, 8);
    pass(1.9);
    EXPECT_EQ(ended, 0);
    pass(0.2);
    EXPECT_EQ(ended, 1);
}

TEST_F(FadingSurfaceTest, GoesToBlackWhereNoPictureComesAndShinesThroughWithoutABackdrop)
{
    make();
    pass(1.8);
    EXPECT_NE(shown(), 0xFF000000);
    pass(0.3);
    EXPECT_EQ(shown(), 0xFF000000);
    EXPECT_EQ(ended, 1);
    make(0);
    draw(0xFFFFFFFF);
    EXPECT_EQ(shown(), 0u);
    pass(0.25);
    EXPECT_NEAR(shown() >> 24, 128, 12);
    EXPECT_LE(shown() & 255, shown() >> 24) << "premultiplied";
    pass(0.3);
    EXPECT_EQ(shown(), 0xFFFFFFFF);
}

TEST_F(FadingSurfaceTest, EndsWithANewSizeAndWithItsWindow)
{
    for (const bool resize : {true, false}) {
        ended = 0;
        make();
        draw(0xFFFFFFFF);
        pass(0.1);
        if (resize) {
            inner->resize(5, 4);
            pass(0.1);
            draw(0xFF00FF00);
            EXPECT_EQ(shown(), 0xFF00FF00);
            EXPECT_EQ(inner->shown()->width, 5);
        } else {
            surface->close();
            pass(1);
        }
        EXPECT_FALSE(surface->isFading());
        EXPECT_EQ(ended, 1);
    }
}

} // namespace
} // namespace vitrel
