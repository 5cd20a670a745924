#include "music/CoverShelf.h"

#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

namespace vitrel {
namespace {

// What begins as a PNG file does.
Bytes picture(const std::string& rest)
{
    const std::string text = "\x89PNG\r\n\x1a\n" + rest;
    return Bytes(text.begin(), text.end());
}

struct CoverShelves : testing::Test {
    TemporaryFolder folder;
    ManualClock clock;
    CoverFolder shelf{folder.path() + "/deep/evening", clock};
    std::atomic<bool> stop{false};

    std::size_t files() const
    {
        std::size_t count = 0;
        for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder.path() + "/deep/evening"))
            ++count;
        return count;
    }
};

TEST_F(CoverShelves, KeepTheEveningsCoversTheNewestFirst)
{
    EXPECT_TRUE(shelf.covers(stop).empty());
    for (const char* name : {"a", "b", "c"}) {
        shelf.keep(picture(name));
        clock.time += Seconds(60);
    }
    // The same once more is the newest, and no second one.
    shelf.keep(picture("a"));
    EXPECT_THAT(shelf.covers(stop), testing::ElementsAre(picture("a"), picture("c"), picture("b")));
    // Another program sees them.
    CoverFolder again(folder.path() + "/deep/evening", clock);
    EXPECT_EQ(again.covers(stop).size(), 3u);
    // Twelve hours after it was shown one is of another evening.
    clock.time += Seconds(12 * 3600.0 - 100);
    EXPECT_THAT(shelf.covers(stop), testing::ElementsAre(picture("a"), picture("c")));
    shelf.keep(picture("d"));
    EXPECT_EQ(files(), 3u);
    stop = true;
    EXPECT_TRUE(shelf.covers(stop).empty());
}

TEST_F(CoverShelves, HaveLimitsAndTakePicturesAlone)
{
    const std::string text = "no picture";
    shelf.keep(Bytes(text.begin(), text.end()));
    shelf.keep(picture(std::string(1u << 20, 'x')));
    EXPECT_TRUE(shelf.covers(stop).empty());
    for (int k = 0; k < 70; ++k) {
        shelf.keep(picture(std::to_string(k)));
        clock.time += Seconds(1);
    }
    const auto covers = shelf.covers(stop);
    ASSERT_EQ(covers.size(), 60u);
    EXPECT_EQ(covers.back(), picture("10"));
    EXPECT_EQ(files(), 60u);
    // What others put there: no picture, a link, a folder.
    const std::string inside = folder.path() + "/deep/evening/";
    std::ofstream(inside + "odd.cover") << "text";
    std::filesystem::create_symlink("/etc/hostname", inside + "link.cover");
    std::filesystem::create_directory(inside + "folder.cover");
    EXPECT_EQ(shelf.covers(stop), covers);
    CoverFolder nowhere("", clock), forbidden("/proc/none", clock);
    nowhere.keep(picture("a"));
    forbidden.keep(picture("a"));
    EXPECT_TRUE(nowhere.covers(stop).empty());
}

} // namespace
} // namespace vitrel
