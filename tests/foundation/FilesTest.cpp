#include "platform/foundation/Files.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <thread>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vitrel {
namespace {

mode_t modeOf(const std::string& path)
{
    struct ::stat status {
    };
    return ::lstat(path.c_str(), &status) == 0 ? status.st_mode : 0;
}

// A command that is told to write into a device or a pipe would, run by root, put a file in its place.
TEST(Files, AreReplacedAndEverythingElseIsWrittenInto)
{
    TemporaryFolder folder;
    const std::string file = folder.write("file", "old"), link = folder / "link", pipe = folder / "pipe";
    ASSERT_EQ(::chmod(file.c_str(), 0640), 0);
    ASSERT_EQ(::symlink("file", link.c_str()), 0);
    EXPECT_EQ(writeFile(link, bytesOf("new")), 0);
    EXPECT_EQ(folder.read(file), "new");
    EXPECT_EQ(modeOf(file) & 07777, 0640u) << "whoever could read it still can";
    EXPECT_TRUE(S_ISLNK(modeOf(link)));
    const std::string longest(255, 'n'); // no room for anything behind it
    EXPECT_EQ(writeFile(folder / longest, bytesOf("x")), 0);

    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    std::string heard;
    std::thread listener([&] { heard = folder.read(pipe); });
    EXPECT_EQ(writeFile(pipe, bytesOf("through")), 0);
    listener.join();
    EXPECT_EQ(heard, "through");
    EXPECT_TRUE(S_ISFIFO(modeOf(pipe)));
    EXPECT_EQ(writeFile("/dev/null", bytesOf("nowhere")), 0);
    EXPECT_TRUE(S_ISCHR(modeOf("/dev/null")));
    EXPECT_EQ(writeFile("/dev/full", bytesOf("no room")), ENOSPC);

    // A descriptor goes on where it stands, and may be a socket, which can't be opened by name.
    const int opened = ::open(file.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    EXPECT_EQ(writeFile("/dev/fd/" + std::to_string(opened), bytesOf("er")), 0);
    ::close(opened);
    EXPECT_EQ(folder.read(file), "newer");
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    EXPECT_EQ(writeFile("/proc/self/fd/" + std::to_string(ends[0]), bytesOf("hi")), 0);
    char got[3] = {};
    EXPECT_EQ(::read(ends[1], got, 2), 2);
    EXPECT_STREQ(got, "hi");
    ::close(ends[0]);
    ::close(ends[1]);
    EXPECT_EQ(writeFile(folder / "none/file", bytesOf("x")), ENOENT);
    EXPECT_EQ(folder.count(), 4u) << "nothing is left lying about";
}

// In a folder where others write, too: a name that they could take first, or a link that they put there.
TEST(Files, AreWrittenUnderANameThatNobodyGuessesAndThatIsGoneAfterAFailure)
{
    class Recording final : public FileSystem
    {
    public:
        int open(const char* path, int flags, unsigned mode) override
        {
            EXPECT_EQ(flags & (O_CREAT | O_EXCL | O_NOFOLLOW), O_CREAT | O_EXCL | O_NOFOLLOW);
            names.emplace_back(path);
            return FileSystem::open(path, flags, mode);
        }
        int rename(const char* from, const char* to) override
        {
            errno = EIO;
            return fails ? -1 : FileSystem::rename(from, to);
        }
        std::vector<std::string> names;
        bool fails = false;
    };
    TemporaryFolder folder;
    Recording files;
    for (const bool fails : {false, false, true}) {
        files.fails = fails;
        EXPECT_EQ(bool(replaceFile(files, folder / "file", bytesOf("x"), {.lasting = false})), !fails);
    }
    ASSERT_EQ(files.names.size(), 3u);
    // All of the second but a few characters differ from the first, beyond what they have in common.
    int same = 0;
    for (std::size_t k = (folder / ".vitrel-").size(); k < files.names[0].size(); ++k)
        same += files.names[0][k] == files.names[1][k];
    EXPECT_GT(files.names[0].size() - (folder / ".vitrel-").size(), 32u);
    EXPECT_LT(same, 25) << files.names[0] << " and " << files.names[1];
    EXPECT_EQ(folder.count(), 1u);
}

TEST(Files, AreReadUpToALimitAndOnlyIfTheyAreFiles)
{
    TemporaryFolder folder;
    const std::string file = folder.write("file", "12345");
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(textOf(*readFile(file, 5)), "12345");
    EXPECT_EQ(readFile(file, 4).error(), EFBIG);
    EXPECT_EQ(readFile(folder.write("empty", ""), 0)->size(), 0u);
    EXPECT_EQ(readFile("/proc/self/cmdline", 0).error(), EFBIG) << "its size is told as 0";
    for (const std::string& path : {folder / "pipe", folder.path(), std::string("/dev/zero")})
        EXPECT_EQ(readFile(path, 1000).error(), EINVAL) << path;
    EXPECT_EQ(readFile(folder / "none", 1000).error(), ENOENT);
}

// On an old kernel, or where a filter of system calls doesn't know the new one, as on others.
TEST(Files, ThatAreNamedByOthersLieBeneathAFolderOnEachKernel)
{
    class Old final : public FileSystem
    {
        int openBeneath(int, const char*, int) override
        {
            errno = ENOSYS;
            return -1;
        }
    };
    TemporaryFolder folder;
    ASSERT_EQ(::mkdir((folder / "in").c_str(), 0700) | ::mkdir((folder / "in/deep").c_str(), 0700), 0);
    folder.write("out", "x");
    folder.write("in/deep/a", "x");
    ASSERT_EQ(::symlink("../out", (folder / "in/link").c_str()) | ::symlink("deep", (folder / "in/way").c_str()), 0);
    const std::pair<const char*, int> cases[]
        = {{"deep/a", 0}, {"./deep//a", 0}, {"deep", EINVAL}, {"deep/b", ENOENT}, {"link", EXDEV}, {"way/a", EXDEV},
            {"../out", EXDEV}, {"deep/../deep/a", EXDEV}, {"/etc/passwd", EXDEV}, {"", EXDEV}};
    Old old;
    FileSystem present;
    for (FileSystem* files : std::initializer_list<FileSystem*>{&old, &present}) {
        for (const auto& [name, error] : cases) {
            const auto bytes = readFileBeneath(*files, folder / "in", name, 1 << 20);
            EXPECT_EQ(bytes ? 0 : bytes.error(), error) << name << (files == &old ? " old" : "");
        }
    }
    EXPECT_EQ(readFileBeneath(folder / "link", "a", 9).error(), ENOENT);
}

TEST(Files, OfTheUserLieWhereTheDesktopSays)
{
    const auto with = [](const char* cache, const char* home) {
        ::setenv("XDG_CACHE_HOME", cache, 1);
        ::setenv("HOME", home, 1);
        return userFolder(UserFolder::Cache, "pictures");
    };
    const std::string before = std::getenv("HOME") ? std::getenv("HOME") : "";
    EXPECT_EQ(with("/c", "/h"), "/c/vitrel/pictures");
    EXPECT_EQ(with("", "/h"), "/h/.cache/vitrel/pictures");
    EXPECT_EQ(with("relative", "/h"), "/h/.cache/vitrel/pictures") << "as the standard has it";
    EXPECT_EQ(with("", ""), "");
    ::unsetenv("XDG_CONFIG_HOME");
    ::unsetenv("XDG_STATE_HOME");
    ::setenv("HOME", "/h", 1);
    EXPECT_EQ(userFolder(UserFolder::Config), "/h/.config/vitrel");
    EXPECT_EQ(userFolder(UserFolder::State), "/h/.local/state/vitrel");
    ::setenv("HOME", before.c_str(), 1);
    ::unsetenv("XDG_CACHE_HOME");
}

} // namespace
} // namespace vitrel
