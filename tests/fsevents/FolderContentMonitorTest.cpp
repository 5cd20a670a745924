#include "support/FolderContentMonitor.h"

#include "support/ManualLoop.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <thread>

namespace vitrel {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre, testing::IsEmpty;

// A tree, and a monitor of it that writes down what it is told as "isFile, created a/b".
struct FolderMonitor : testing::Test {
    void watch(FSEventStreamEventId since = kFSEventStreamEventIdSinceNow, std::vector<std::string> paths = {})
    {
        if (paths.empty())
            paths = {tree_.path()};
        monitor_.emplace(
            loop_, paths, since, [this](const Event& event) { heard(event); }, state_.path());
        monitor_->start();
    }
    void heard(const Event& event)
    {
        EXPECT_GT(event.eventId, latest_) << event.description();
        latest_ = event.eventId;
        flags_ = event.eventFlags;
        const auto name = event.eventPath == tree_.path() ? "." : event.eventPath.substr(tree_.path().size() + 1);
        events_.push_back(FSEventFlag(event.eventFlags).description() + " " + name);
        if (then_)
            then_();
    }
    // What was told of what has been done since the last call.
    std::vector<std::string> told()
    {
        loop_.turn();
        clock_.time += Seconds(0.02); // for the second end of a rename
        loop_.turn();
        return std::exchange(events_, {});
    }
    void write(const std::string& name, const std::string& text) { std::ofstream(tree_ / name, std::ios::app) << text; }

    ManualClock clock_;
    RunLoop loop_{clock_};
    TemporaryFolder tree_, state_;
    std::vector<std::string> events_;
    FSEventStreamEventId latest_ = 0;
    FSEventStreamEventFlags flags_ = 0; // of the latest
    std::function<void()> then_;
    std::optional<FolderContentMonitor> monitor_;
};

TEST(FSEventFlagTest, NamesTheBitsInTheirOrderAndIgnoresOthers)
{
    EXPECT_EQ(FSEventFlag(0x10100).description(), "isFile, created");
    EXPECT_EQ(FSEventFlag(0).description(), "");
    EXPECT_EQ(FSEventFlag(0x1).description(), "");
    EXPECT_EQ(FSEventFlag(0x80000001).rawValue(), 0x80000001);
    EXPECT_EQ(FSEventFlag(0xFFFFFFFF).description(),
        "isDir, isFile, isHardlink, isLastHardlink, isSymlink, created, modified, removed, renamed, changeOwner, "
        "finderInfoModified, inodeMetaModified, xattrsModified");
    EXPECT_EQ((Event{7, "/tmp/a", 256}.description()), "7 - 256 - /tmp/a");
}

TEST_F(FolderMonitor, TellsEachKindOfChangeInOrder)
{
    fs::create_directories(tree_ / "old/inner");
    tree_.write("old/inner/file", "1");
    TemporaryFolder outside;
    outside.write("full/one", "1");
    fs::create_directory_symlink(outside.path(), tree_ / "link");
    watch();
    EXPECT_THAT(told(), IsEmpty());

    tree_.write("a", "");
    write("a", "text");
    ::chmod((tree_ / "a").c_str(), 0600);
    EXPECT_THAT(told(), ElementsAre("isFile, created a", "isFile, modified a", "isFile, inodeMetaModified a"));
    fs::create_hard_link(tree_ / "a", tree_ / "b");
    EXPECT_EQ(told().front(), "isFile, isHardlink, created b");
    fs::remove(tree_ / "b");
    fs::create_symlink("nowhere", tree_ / "c");
    fs::remove(tree_ / "c");
    EXPECT_THAT(told(),
        ElementsAre("isFile, isHardlink, removed b", testing::EndsWith("created c"), testing::EndsWith("removed c")));

    fs::rename(tree_ / "old", tree_ / "new"); // what lies in it is then told under its new name
    write("new/inner/file", "2");
    EXPECT_THAT(told(), ElementsAre("isDir, renamed old", "isDir, renamed new", "isFile, modified new/inner/file"));
    // Made before anybody can watch it.
    fs::create_directories(tree_ / "x/y/z");
    tree_.write("x/y/z/deep", "1");
    EXPECT_THAT(told(),
        ElementsAre("isDir, created x", "isDir, created x/y", "isDir, created x/y/z", "isFile, created x/y/z/deep"));
    write("x/y/z/deep", "2");
    EXPECT_THAT(told(), ElementsAre("isFile, modified x/y/z/deep"));
    fs::remove_all(tree_ / "x");
    EXPECT_THAT(told(),
        ElementsAre("isFile, removed x/y/z/deep", "isDir, removed x/y/z", "isDir, removed x/y", "isDir, removed x"));

    // To and from outside; nothing is heard of what is gone, nor through a link.
    fs::rename(tree_ / "new", outside / "new");
    EXPECT_THAT(told(), ElementsAre("isDir, renamed new"));
    outside.write("new/inner/file", "3");
    outside.write("full/one", "3");
    EXPECT_THAT(told(), IsEmpty());
    fs::rename(outside / "full", tree_ / "full");
    EXPECT_THAT(told(), ElementsAre("isDir, renamed full", "isFile, created full/one"));
}

// A folder that is renamed at once is watched under the name that stays.
TEST_F(FolderMonitor, FollowsAFolderThatWasMadeAndRenamedBeforeItLooked)
{
    watch();
    fs::create_directory(tree_ / "untitled");
    tree_.write("untitled/early", "1");
    fs::rename(tree_ / "untitled", tree_ / "named");
    EXPECT_THAT(told(),
        ElementsAre("isDir, created untitled", "isDir, renamed untitled", "isDir, renamed named",
            "isFile, created named/early"));
    tree_.write("named/late", "");
    EXPECT_THAT(told(), ElementsAre("isFile, created named/late"));
}

TEST_F(FolderMonitor, StartsAndStopsOnceAndGoesOnWhereItStopped)
{
    tree_.write("stays", "1");
    tree_.write("goes", "1");
    tree_.write("moves", "12");
    watch();
    monitor_->stop();
    monitor_->stop();
    monitor_->start(); // nothing heard yet: from now on
    monitor_->start();
    tree_.write("first", "");
    EXPECT_THAT(told(), ElementsAre("isFile, created first"));
    monitor_->stop();
    const auto last = monitor_->lastEventId();
    EXPECT_EQ(last, latest_);

    const auto meanwhile = [&](const std::string& suffix) {
        fs::remove(tree_ / "goes");
        fs::rename(tree_ / "moves", tree_ / "moved");
        write("stays", "2");
        fs::create_directory(tree_ / ("d" + suffix));
        tree_.write("d" + suffix + "/e", "");
    };
    meanwhile("");
    EXPECT_THAT(told(), IsEmpty());
    const auto expected = ElementsAre("isFile, removed goes", "isFile, renamed moves", "isFile, renamed moved",
        "isDir, created d", "isFile, created d/e", "isFile, modified stays");
    monitor_->start();
    EXPECT_THAT(events_, IsEmpty()) << "told from inside start";
    EXPECT_THAT(told(), expected);

    // Another process knows an older event: it hears the same again from the journal.
    latest_ = last;
    watch(last);
    EXPECT_THAT(told(), expected);
    EXPECT_EQ(monitor_->lastEventId(), latest_);
    // And one that knows none of ours, or has lost the journal, is told to look itself.
    monitor_.reset();
    for (const auto& entry : fs::directory_iterator(state_.path()))
        if (entry.path().extension() == ".journal")
            std::ofstream(entry.path(), std::ios::trunc) << "garbage";
    then_ = [&] { EXPECT_TRUE(flags_ & kFSEventStreamEventFlagMustScanSubDirs); };
    watch(latest_);
    EXPECT_THAT(told(), ElementsAre("isDir ."));
}

TEST_F(FolderMonitor, WaitsForPathsAndFollowsSingleFiles)
{
    const std::string file = tree_ / "far/away/file", folder = tree_ / "late";
    tree_.write("far/away/other", "1");
    watch(kFSEventStreamEventIdSinceNow, {file, folder + "/", folder + "/inside", ""});
    tree_.write("far/away/other2", "1");
    EXPECT_THAT(told(), IsEmpty());
    tree_.write("far/away/file", "1");
    EXPECT_EQ(told().front(), "isFile, created far/away/file");
    tree_.write("far/away/other", "new");
    EXPECT_THAT(told(), IsEmpty());
    fs::rename(tree_ / "far/away/other", file); // as editors save
    EXPECT_THAT(told(), ElementsAre("isFile, renamed far/away/file"));
    fs::rename(tree_ / "far", tree_ / "gone");
    EXPECT_THAT(told(), ElementsAre("isFile, removed far/away/file"));
    fs::rename(tree_ / "gone", tree_ / "far");
    EXPECT_THAT(told(), ElementsAre("isFile, created far/away/file"));
    write("far/away/file", "x");
    EXPECT_THAT(told(), ElementsAre("isFile, modified far/away/file"));

    for (int round = 0; round < 2; ++round) {
        tree_.write("late/inside", "");
        EXPECT_THAT(told(), ElementsAre("isDir, created late", "isFile, created late/inside"));
        fs::remove_all(folder);
        EXPECT_THAT(told(), ElementsAre("isFile, removed late/inside", "isDir, removed late"));
    }
}

TEST_F(FolderMonitor, MayBeStoppedAndEndedByWhatItCalls)
{
    watch();
    then_ = [&] { monitor_->stop(); };
    tree_.write("a", "");
    tree_.write("b", "");
    EXPECT_THAT(told(), ElementsAre("isFile, created a", "isFile, created b")) << "a batch is whole";
    EXPECT_EQ(monitor_->lastEventId(), latest_);
    then_ = [&] { monitor_.reset(); };
    monitor_->start();
    tree_.write("c", "");
    tree_.write("d", "");
    EXPECT_THAT(told(), ElementsAre("isFile, created c"));
}

TEST_F(FolderMonitor, LeavesOutWhatItMayNotRead)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "root reads everything";
    fs::create_directory(tree_ / "closed");
    ::chmod((tree_ / "closed").c_str(), 0);
    watch();
    tree_.write("open", "");
    EXPECT_THAT(told(), ElementsAre("isFile, created open"));
    ::chmod((tree_ / "closed").c_str(), 0700);
}

// Half of them while it reads, half while it doesn't: then the system's queue runs over.
TEST_F(FolderMonitor, LosesNothingInAStorm)
{
    constexpr int kFiles = 100'000, kFolders = 100;
    watch();
    const auto make = [&](int first, int last) {
        for (int k = first; k < last; ++k) {
            const std::string folder = tree_ / std::to_string(k % kFolders);
            ::mkdir(folder.c_str(), 0700);
            ::mknod((folder + "/" + std::to_string(k)).c_str(), S_IFREG | 0600, 0);
        }
    };
    std::atomic<bool> isDone = false;
    std::thread writer([&] {
        make(0, kFiles / 2);
        isDone = true;
    });
    while (!isDone)
        loop_.turn();
    writer.join();
    make(kFiles / 2, kFiles);
    for (int turns = 0; turns < 20; ++turns)
        loop_.turn();
    std::erase_if(events_, [](const std::string& event) { return !event.starts_with("isFile, created "); });
    EXPECT_EQ(events_.size(), std::size_t(kFiles));
    EXPECT_EQ(std::set<std::string>(events_.begin(), events_.end()).size(), std::size_t(kFiles)) << "each once";
}

// The records are thrown away, as the system does when its queue is full.
TEST(TreeWatchTest, FindsByComparingWhatTheQueueHasLost)
{
    TemporaryFolder tree;
    for (const char* name : {"same", "changed", "gone", "moved", "d/inner"})
        tree.write(name, "1");
    TreeWatch watch({tree.path()});
    watch.start(std::nullopt);
    tree.write("changed", "other");
    fs::remove(tree / "gone");
    fs::rename(tree / "moved", tree / "d/here");
    tree.write("new/file", "");
    char buffer[65536];
    while (::read(watch.descriptor(), buffer, sizeof buffer) > 0) { }
    EXPECT_THAT(watch.takeEvents(), IsEmpty());
    watch.take(-1, 0x4000, 0, ""); // IN_Q_OVERFLOW
    std::vector<std::string> told;
    for (const auto& event : watch.takeEvents())
        told.push_back(FSEventFlag(event.flags).description() + " " + event.path.substr(tree.path().size() + 1));
    EXPECT_THAT(told,
        ElementsAre("isFile, removed gone", "isFile, renamed moved", "isFile, renamed d/here", "isDir, created new",
            "isFile, created new/file", "isFile, modified changed"));
    tree.write("new/file2", "");
    watch.read();
    EXPECT_EQ(watch.takeEvents().size(), 1u) << "the folder that it found is watched";
}

} // namespace
} // namespace vitrel
