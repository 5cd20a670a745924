#include "platform/appkit/MemorySurface.h"
#include "platform/appkit/NSWindow.h"
#include "platform/quartzcomposer/CompositionView.h"
#include "platform/quartzcomposer/drawing/GLContext.h"
#include "support/FakeSound.h"
#include "support/ManualLoop.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace vitrel {

using namespace std::string_literals;

namespace {

// A surface that can be out of sight.
class HidableSurface final : public Surface
{
public:
    int width() const override { return memory.width(); }
    int height() const override { return memory.height(); }
    bool wantsFrame() const override { return !hidden; }
    FrameMemory frameMemory() override { return memory.frameMemory(); }
    void present() override
    {
        memory.present();
        clock.time += taking;
    }
    bool prefersSmoothness() const override { return true; }
    explicit HidableSurface(ManualClock& clock, int height = 32)
        : clock(clock)
        , memory(64, height)
    { }
    ManualClock& clock;
    MemorySurface memory;
    bool hidden = false;
    Seconds taking{0};
};

struct View : testing::Test {
    void SetUp() override
    {
        if (!qc::GLContext::current())
            GTEST_SKIP();
    }
    bool load(std::string_view text) { return view->loadCompositionFromFile(folder.write("played.json", text)); }
    void show(int height = 32)
    {
        auto made = std::make_unique<HidableSurface>(in.clock, height);
        surface = made.get();
        window = std::make_unique<NSWindow>(NSRect{{0, 0}, {64, double(height)}}, std::move(made));
        window->contentView()->addSubview(view);
    }
    std::uint64_t framesIn(double seconds)
    {
        const auto before = view->framesShown();
        in.fastForwardBy(Seconds(seconds));
        return view->framesShown() - before;
    }
    std::uint32_t pixel() const { return surface->memory.shown()->pixels.front(); }

    const std::string still
        = R"({"inputs": {"color": "c.inputColor"}, "values": {"color": "#ff0000ff"}, "patches": {"c": {"class": "QCClear"}}})";
    // The red part is the time in tenths of a second.
    const std::string moving
        = R"({"patches": {"t": {"class": "QCTime"}, "m": {"class": "QCExpression", "settings": {"expression": "t / 10"}},
        "k": {"class": "QCColorFromComponents", "inputs": {"input2": 0, "input3": 0}}, "c": {"class": "QCClear"}},
        "connections": ["t.outputTime > m.t", "m.outputResult > k.input1", "k.outputColor > c.inputColor"]})";
    double timeShown() const { return (pixel() >> 16 & 255) / 25.5; }

    ManualLoop in;
    TemporaryFolder folder;
    FakeSound sound;
    std::shared_ptr<CompositionView> view = std::make_shared<CompositionView>(in.loop, &sound);
    HidableSurface* surface = nullptr;
    std::unique_ptr<NSWindow> window;
};

} // namespace

// A still picture is drawn once; a write draws one more, and a write of the same value none.
TEST_F(View, DrawsAStillCompositionOnlyWhenSomethingChanges)
{
    show();
    ASSERT_TRUE(load(still));
    EXPECT_TRUE(view->isRendering()) << "autostart";
    EXPECT_EQ(framesIn(60), 1u);
    EXPECT_EQ(pixel() & 0xFFFFFF, 0xFF0000u);
    EXPECT_EQ(view->inputKeys(), std::vector<std::string>{"color"});
    EXPECT_TRUE(view->setValueForInputKey(NSColor{0, 0, 1, 1}, "color"));
    EXPECT_FALSE(view->setValueForInputKey(1, "none"));
    EXPECT_FALSE(view->setValueForInputKey("blue", "color"));
    EXPECT_EQ(framesIn(60), 1u);
    EXPECT_EQ(pixel() & 0xFFFFFF, 0x0000FFu);
    EXPECT_EQ(view->valueForInputKey("color"), Value(NSColor{0, 0, 1, 1}));
    for (int k = 0; k < 5; ++k)
        view->setValueForInputKey(NSColor{0, k / 4.0, 1, 1}, "color");
    EXPECT_EQ(framesIn(1), 1u) << "five writes in a turn are one frame";
}

TEST_F(View, PauseKeepsTheTimeStopBeginsAnewAndTheRateIsAtMostWhatItIs)
{
    show();
    view->setAutostartsRendering(false);
    ASSERT_TRUE(load(moving));
    EXPECT_EQ(framesIn(3), 0u) << "not started";
    view->play({});
    framesIn(2);
    EXPECT_NEAR(timeShown(), 2, 0.1);
    view->pauseRendering();
    EXPECT_FALSE(view->isRendering());
    EXPECT_EQ(framesIn(3), 0u);
    view->play({});
    framesIn(1);
    EXPECT_NEAR(timeShown(), 3, 0.1);
    view->stopRendering();
    EXPECT_EQ(framesIn(3), 0u);
    EXPECT_TRUE(view->startRendering());
    framesIn(1);
    EXPECT_NEAR(timeShown(), 1, 0.1);
    EXPECT_NEAR(framesIn(2), 120, 2);
    for (const auto& [rate, frames] : {std::pair(10, 20), {0, 120}, {1000, 120}}) {
        view->setMaxRenderingFrameRate(rate);
        EXPECT_NEAR(framesIn(2), frames, 2) << rate;
    }
}

TEST_F(View, WithoutAWindowKeepsItsInputsAndDrawsNothing)
{
    ASSERT_TRUE(load(still));
    EXPECT_TRUE(view->setValueForInputKey(NSColor{0, 1, 0, 1}, "color"));
    view->startRendering();
    EXPECT_EQ(framesIn(5), 0u);
    EXPECT_EQ(view->evaluations(), 0u);
    show();
    EXPECT_EQ(framesIn(5), 1u);
    EXPECT_EQ(pixel() & 0xFFFFFF, 0x00FF00u);
    view->removeFromSuperview();
    view->setValueForInputKey(NSColor{0, 0, 1, 1}, "color");
    EXPECT_EQ(framesIn(5), 0u);
}

TEST_F(View, EvaluatesNothingWhileItIsHiddenAndFollowsTheSizeOfItsSurface)
{
    show();
    ASSERT_TRUE(load(moving));
    framesIn(1);
    surface->hidden = true;
    const auto before = view->evaluations();
    EXPECT_EQ(framesIn(10), 0u);
    EXPECT_EQ(view->evaluations(), before);
    surface->hidden = false;
    EXPECT_GT(framesIn(2), 60u) << "comes back within its beat";
    ASSERT_TRUE(load(still));
    framesIn(1);
    surface->memory.resize(100, 20);
    view->setFrame({{0, 0}, {100, 20}});
    EXPECT_EQ(framesIn(1), 1u);
    EXPECT_EQ(surface->memory.shown()->width, 100);
    EXPECT_EQ(surface->memory.shown()->pixels.back() & 0xFFFFFF, 0xFF0000u);
}

TEST_F(View, AFileThatIsNoneLeavesNothingLoaded)
{
    show();
    ASSERT_TRUE(load(still));
    int loads = 0;
    view->onLoad = [&] { ++loads; };
    EXPECT_FALSE(view->loadCompositionFromFile(folder.write("text.qtz", "no composition")));
    EXPECT_FALSE(view->loadCompositionFromFile(folder / "none"));
    EXPECT_TRUE(view->inputKeys().empty());
    EXPECT_FALSE(view->isRendering());
    EXPECT_FALSE(view->startRendering());
    EXPECT_EQ(framesIn(1), 0u);
    EXPECT_EQ(loads, 0);
    EXPECT_TRUE(load(still));
    EXPECT_EQ(loads, 1);
    EXPECT_EQ(framesIn(1), 1u);
}

// Over the lower left corner, also of a composition that stands still and of the next one, until it is taken away.
TEST_F(View, ANoticeLiesOverThePictureUntilItIsTakenAway)
{
    show(64);
    ASSERT_TRUE(load(still));
    framesIn(1);
    const auto shows = [&](bool isNotice, const char* when) {
        const auto& picture = *surface->memory.shown();
        const auto at = [&](int x, int y) { return picture.pixels[std::size_t(y * picture.width + x)] & 0xFFFFFF; };
        EXPECT_EQ(at(10, 54) == 0xFF0000u, !isNotice) << when;
        EXPECT_EQ(at(60, 2), 0xFF0000u) << when;
    };
    shows(false, "at first");
    view->setNotice("a");
    EXPECT_EQ(framesIn(1), 1u);
    shows(true, "once set");
    ASSERT_TRUE(load(still));
    framesIn(1);
    shows(true, "over the next composition");
    view->setNotice("");
    EXPECT_EQ(framesIn(1), 1u);
    shows(false, "taken away");
}

// Two views in one process share the context and nothing else; the one that goes takes nothing from the other.
TEST_F(View, TwoPlaySideBySide)
{
    show();
    ASSERT_TRUE(load(moving));
    auto other = std::make_shared<CompositionView>(in.loop);
    auto made = std::make_unique<HidableSurface>(in.clock);
    HidableSurface* second = made.get();
    NSWindow secondWindow(NSRect{{0, 0}, {64, 32}}, std::move(made));
    secondWindow.contentView()->addSubview(other);
    ASSERT_TRUE(other->loadCompositionFromFile(folder.write("other.json", still)));
    framesIn(2);
    EXPECT_NEAR(timeShown(), 2, 0.1);
    EXPECT_EQ(second->memory.shown()->pixels.front() & 0xFFFFFF, 0xFF0000u);
    other->removeFromSuperview();
    other.reset();
    framesIn(1);
    EXPECT_NEAR(timeShown(), 3, 0.1);
}

// What moves too slowly has fewer pixels; what stands still has them all, at once.
TEST_F(View, DrawsFewerPixelsWhileItMovesWhereAllTakeTooLong)
{
    if (!qc::GLContext::current()->software())
        GTEST_SKIP() << "a graphics card is here";
    show(1440);
    surface->taking = Seconds(0.05);
    // White up to pixel 34.3 of 64, whose edge lies elsewhere with half the pixels.
    ASSERT_TRUE(load(R"({"inputs": {"moves": "t._enable"}, "values": {"moves": true}, "patches": {
        "c": {"class": "QCClear"}, "n": {"class": "QCTime"},
        "s": {"class": "QCSprite", "inputs": {"inputX": -0.4640625, "inputWidth": 1.071875, "inputHeight": 90}},
        "t": {"class": "QCSprite", "inputs": {"inputY": 0.9, "inputHeight": 0.01}}},
        "connections": ["n.outputTime > t.inputX"]})"));
    const auto edge = [&] { return surface->memory.shown()->pixels[720 * 64 + 33] & 255; };
    framesIn(0.5);
    EXPECT_EQ(edge(), 255u);
    framesIn(0.5);
    surface->taking = Seconds(0.02); // it helps
    framesIn(2);
    EXPECT_NEAR(edge(), 191, 2) << "three quarters of the last white pixel's middle, one of the next";
    view->setValueForInputKey(false, "moves");
    EXPECT_EQ(framesIn(0.3), 2u) << "one small, one sharp";
    EXPECT_EQ(edge(), 255u);
    view->setValueForInputKey(true, "moves");
    framesIn(0.5);
    EXPECT_NEAR(edge(), 191, 2) << "as before, without a new trial";
}

// It listens for as long as somebody can see what moves with it, looks once a frame, and rests when the sound does.
TEST_F(View, ListensWhileAPatchOrAProtocolAsksAndItIsSeen)
{
    view->onFrame = [&](const SoundHeard& heard) { view->setValueForInputKey(heard.peak, "inputAudioPeak"); };
    show();
    for (const auto& [input, connection] :
        {std::pair(R"("a": "k.input2")", R"("s.outputPeak > k.input1",)"), {R"("inputAudioPeak": "k.input1")", ""}}) {
        SCOPED_TRACE(input);
        window->contentView()->addSubview(view);
        ASSERT_TRUE(load(R"({"inputs": {)"s + input + R"(}, "patches": {"s": {"class": "QCAudioInput"},
            "h": {"class": "QCAudioInput", "inputs": {"inputDecreasingScale": 0}},
            "k": {"class": "QCColorFromComponents"}, "c": {"class": "QCClear"}}, "connections": [)"
            + connection + R"("h.outputPeak > k.input3", "k.outputColor > c.inputColor"]})"));
        EXPECT_LE(framesIn(60), 2u) << "it is silent";
        EXPECT_EQ(sound.listeners, 1);
        sound.heard.peak = 0.8;
        sound.told();
        const int looks = sound.looks;
        const auto frames = framesIn(2);
        EXPECT_NEAR(double(frames), 120, 2);
        EXPECT_EQ(std::uint64_t(sound.looks - looks), frames);
        EXPECT_EQ(pixel() >> 16 & 255, 204u);
        surface->hidden = true;
        framesIn(1);
        EXPECT_EQ(sound.listeners, 1) << "a display may be slow";
        framesIn(2);
        EXPECT_EQ(sound.listeners, 0) << "hidden";
        surface->hidden = false;
        framesIn(1);
        view->pauseRendering();
        EXPECT_EQ(sound.listeners, 0);
        view->startRendering();
        EXPECT_EQ(sound.listeners, 1);
        sound.heard = {};
        framesIn(2); // with what the patch lets fall slowly
        EXPECT_EQ(pixel() >> 16 & 255, 0u);
        EXPECT_EQ(framesIn(60), 0u) << "it rests again";
        view->removeFromSuperview();
        EXPECT_EQ(sound.listeners, 0);
        sound.heard.peak = 0.8;
        window->contentView()->addSubview(view);
        ASSERT_TRUE(view->loadCompositionFromFile(folder / "played.json"));
        EXPECT_GT(framesIn(1), 50u) << "into the midst of a sound";
        sound.heard = {};
    }
    window->contentView()->addSubview(view);
    ASSERT_TRUE(load(still));
    framesIn(1);
    EXPECT_EQ(sound.listeners, 0) << "one that doesn't ask";
}

} // namespace vitrel
