#include "programs/thumbnails/Thumbnails.h"
#include "preview/Children.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

// A red pixel as a PNG file, made with another program.
constexpr const char* kRed
    = "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAIAAACQd1PeAAAADElEQVR4nGP4z8AAAAMBAQDJ/pLvAAAAAElFTkSuQmCC";

struct Pictures : Children {
    std::string cache = folder / "cache";
    std::string picture = folder.write("red.b64", kRed);
    std::vector<std::string> ready;

    // Renders as the real one is told to: its fifth word is the file to write.
    std::string rendering(const std::string& first = "")
    {
        return program("echo x >>" + folder.path() + "/renders\n" + first + "base64 -d " + picture + " >\"$4\"\n");
    }
    std::unique_ptr<Thumbnails> thumbnails(const std::string& by)
    {
        auto made = std::make_unique<Thumbnails>(loop, by, cache);
        made->onReady = [this](const std::string& path) { ready.push_back(path); };
        return made;
    }
};

TEST(Thumbnails, RenderOnceAndKeepForTheNextProcess)
{
    Pictures in;
    const std::string a = in.folder.write("a.qtz", "a"), b = in.folder.write("b.qtz", "b");
    {
        const auto thumbnails = in.thumbnails(in.rendering());
        EXPECT_EQ(thumbnails->thumbnail(a), nullptr);
        thumbnails->want({a, in.folder / "gone.qtz", b});
        ASSERT_TRUE(in.until([&] { return in.ready.size() == 2; }));
        const auto picture = thumbnails->thumbnail(a);
        ASSERT_TRUE(picture);
        EXPECT_EQ(picture->pixels.front() & 0xFFFFFF, 0xFF0000u);
        EXPECT_TRUE(thumbnails->thumbnail(b));
        thumbnails->want({a, b});
        EXPECT_EQ(in.lines("renders"), 2u) << "a file that isn't there starts nothing";
    }
    const auto later = in.thumbnails(in.rendering());
    EXPECT_TRUE(later->thumbnail(b)) << "from the cache";
    in.folder.write("b.qtz", "another size");
    in.clock.time += Seconds(10);
    EXPECT_EQ(later->thumbnail(b), nullptr) << "the file has changed";
    later->want({b});
    EXPECT_TRUE(in.until([&] { return later->thumbnail(b) != nullptr; }));
    EXPECT_EQ(in.lines("renders"), 3u);
}

// A composition that crashes or hangs its renderer costs its own picture, once, and not those behind it.
TEST(Thumbnails, GiveUpOnWhatCrashesOrHangsAndGoOn)
{
    Pictures in;
    const std::string crash = in.folder.write("crash.qtz", "c"), hang = in.folder.write("hang.qtz", "h"),
                      good = in.folder.write("good.qtz", "g");
    const std::string by = in.rendering("case \"${10}\" in *crash*) kill -SEGV $$;; *hang*) exec sleep 600;; esac\n");
    const auto thumbnails = in.thumbnails(by);
    thumbnails->want({crash, hang, good});
    ASSERT_TRUE(in.until([&] { return in.ready.size() == 3; }, Seconds(0.01)));
    EXPECT_EQ(thumbnails->thumbnail(crash), nullptr);
    EXPECT_EQ(thumbnails->thumbnail(hang), nullptr);
    EXPECT_TRUE(thumbnails->thumbnail(good));
    in.clock.time += Seconds(10);
    in.thumbnails(by)->want({crash, hang});
    for (int turn = 0; turn < 20; ++turn)
        in.loop.turn();
    EXPECT_EQ(in.lines("renders"), 3u) << "nor is it tried again while the file is the same";
}

TEST(Thumbnails, LeaveNothingBehindWithoutACacheAndWhenTheyGoInTheMiddle)
{
    Pictures in;
    const std::string a = in.folder.write("a.qtz", "a");
    in.cache.clear();
    auto thumbnails = in.thumbnails(in.rendering("exec sleep 600\n"));
    thumbnails->want({a});
    ASSERT_TRUE(in.until([&] { return in.lines("renders") == 1; }));
    thumbnails.reset(); // must not wait for the child
    in.clock.time += Seconds(100);
    EXPECT_EQ(in.loop.turn(), 0u);
    EXPECT_TRUE(in.ready.empty());
}

} // namespace
} // namespace vitrel
