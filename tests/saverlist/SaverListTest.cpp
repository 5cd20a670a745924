#include "programs/saverlist/SaverList.h"
#include "programs/saverlist/SaverListFile.h"
#include "support/FailingFiles.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>

namespace vitrel {
namespace {

using testing::ElementsAre;
using State = SaverList::State;

SaverList listOf(const std::string& text)
{
    auto list = SaverList::read(text);
    EXPECT_TRUE(list) << text << ": " << list.error();
    return list ? *list : *SaverList::read("");
}

// The list as another reader sees it: first the lines are joined, then the entries cut.
std::vector<std::string> entriesOf(std::string text)
{
    for (auto at = text.find("\\\n"); at != std::string::npos; at = text.find("\\\n"))
        text.erase(at, 2);
    const auto begin = ("\n" + text).find("\nprograms:");
    std::vector<std::string> entries;
    if (begin == std::string::npos)
        return entries;
    text = text.substr(begin + 9, text.find('\n', begin) - begin - 9);
    for (std::size_t from = 0, to = 0; to != std::string::npos; from = to + 2) {
        to = text.find("\\n", from);
        const auto entry = text.substr(from, to - from);
        const auto first = entry.find_first_not_of(" \t");
        if (first != std::string::npos)
            entries.push_back(entry.substr(first, entry.find_last_not_of(" \t") + 1 - first));
    }
    return entries;
}

const std::string kOurs = "\"Vitrel\"  vitrel --root";
// As XScreenSaver's own window writes it.
const std::string kUsual
    = "# XScreenSaver Preferences File\n\ntimeout:\t0:10:00\nprograms:\t\t\t\\\n"
      "  GL: \t\t\"Bars\"  bars --root\t\t\\n\\\n-\t\t\"Off\"  off --root\t\t\\n\\\n\n\nselected:\t1\n";

TEST(SaverList, KnowsItsEntryInEverySpelling)
{
    const std::tuple<const char*, State, const char*> cases[] = {
        {"vitrel", State::Listed, "a command alone"},
        {"\t\"My saver\"\t/opt/v/bin/vitrel --root --file a.qtz ", State::Listed, "a name and a path"},
        {" GL: vitrel --root", State::Listed, "a visual"},
        {"- default-n:  \"Vitrel\" vitrel --root", State::SwitchedOff, "a mark ahead of a visual"},
        {"-\\\n  vitrel", State::SwitchedOff, "cut into lines"},
        {"-vitrel\\n vitrel --root", State::Listed, "one of two is on"},
        {"vit\\\nrel", State::Listed, "a word may be cut"},
        {"\"Vitrel\" other --root", State::Absent, "the name doesn't count"},
        {"\"vitrel", State::Absent, "a name without an end"},
        {"vitrel-old --root", State::Absent, "another program"},
        {"--/vitrel", State::Absent, "a mark is one dash"},
        {"--s: vitrel", State::Absent, "nor does a visual begin with one"},
        {"other vitrel", State::Absent, "an argument"},
        {"", State::Absent, "nothing"},
    };
    for (const auto& [entry, state, why] : cases)
        EXPECT_EQ(listOf("timeout: 1\nprograms: " + std::string(entry) + "\n").state(), state) << why;
    EXPECT_EQ(listOf("").state(), State::Absent);
    EXPECT_EQ(listOf("# programs: vitrel\n!programs: vitrel\nprogram: vitrel\n").state(), State::Absent);
}

// A byte of the user's that is lost, an entry that swallows its neighbour, a list that isn't ended.
TEST(SaverList, ComesLastAndGoesWithoutATrace)
{
    const std::tuple<std::string, std::vector<std::string>, const char*> cases[] = {
        {kUsual, {"GL: \t\t\"Bars\"  bars --root", "-\t\t\"Off\"  off --root"}, "the usual one"},
        {"programs: a\\n\\\n  b", {"a", "b"}, "no line end at the end"},
        {"programs: a\\n\\\n", {"a"}, "a last line that goes on into nothing"},
        {"programs:a b  \nlock: True", {"a b"}, "on one line"},
        {"mode: one\n\n programs :\ta \\n b\\n\\\n\\\n\nlock: False\n", {"a", "b"}, "blanks, and a blank line in it"},
        {"programs: \\\\n a \\n b\n", {"\\\\n a", "b"}, "an escaped backslash separates nothing"},
        {"fade: True\n", {}, "no list"},
    };
    for (const auto& [text, before, why] : cases) {
        const std::string with = listOf(text).with("vitrel --root");
        EXPECT_EQ(listOf(with).state(), State::Listed) << why << ": " << with;
        if (text.find("\\\\n") == std::string::npos && text.find(" programs") == std::string::npos) {
            auto after = before;
            after.push_back(kOurs);
            EXPECT_EQ(entriesOf(text), before) << why;
            EXPECT_EQ(entriesOf(with), after) << why << ": " << with;
        }
        EXPECT_EQ(listOf(with).with("other"), with) << why << ": twice";
        EXPECT_EQ(listOf(with).without(), text) << why;
        EXPECT_EQ(listOf(text).without(), text) << why;
    }
    // What has no line end, or goes on into nothing, gets its end first.
    for (const std::string text : {"fade: True", "fade: \\\n", "# remark", "a: b\\\n c\\\n"}) {
        const std::string with = listOf(text).with("vitrel --root");
        EXPECT_TRUE(with.starts_with(text + "\n")) << with;
        EXPECT_THAT(entriesOf(with), ElementsAre(kOurs)) << with;
    }
    for (const std::string text : {"", "programs:\n", "programs: \\\n\n", "programs: \\n \\n"}) {
        const std::string with = listOf(text).with("vitrel --root");
        EXPECT_THAT(entriesOf(with), ElementsAre(kOurs)) << text << ": " << with;
        EXPECT_EQ(listOf(with).without(), "") << text;
    }
    EXPECT_EQ(listOf("programs: a\\n\\\n-\t\"V\" vitrel -x\\n b\n").with("vitrel --root"),
        "programs: a\\n\\\n\t\"V\" vitrel -x\\n b\n")
        << "switched on where it stands";
    EXPECT_EQ(listOf("programs: \\-vitrel").with("vitrel"), "programs: vitrel") << "the mark may be escaped";
}

// A wrong number and the user's screen shows another saver than the chosen one.
TEST(SaverList, TheChosenSaverStaysChosen)
{
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"selected: 2\nprograms: vitrel \\n a \\n b\n", "selected: 1\nprograms: a \\n b\n", "behind it"},
        {"programs: a \\n vitrel \\n b\nselected:\t2 \n", "programs: a  \\n b\nselected:\t1 \n", "and after it"},
        {"programs: a \\n vitrel \\n b\nselected: 0\n", "programs: a  \\n b\nselected: 0\n", "ahead of it"},
        {"programs: vitrel\\n-vitrel -a\\n\\\n\\na\\n b\\nvitrel\\nc\\n\nselected: 4\n",
            "programs: a\\n b\\nc\\n\nselected: 2\n", "three of it, and a blank one"},
        {"programs: vitrel\\n a\nselected: 2\n", "programs: a\nselected: 2\n", "one that the list doesn't have"},
        {"programs: vitrel\nselected: 2\n", "selected: 2\n", "and one of the system's list"},
        {"programs: vitrel\\n a\nselected: many\n", "programs: a\nselected: many\n", "no number"},
    };
    for (const auto& [text, without, why] : cases)
        EXPECT_EQ(listOf(text).without(), without) << why;
}

TEST(SaverList, LeavesAloneWhatItDoesNotUnderstand)
{
    using namespace std::string_literals;
    const std::pair<std::string, std::string> cases[] = {
        {"programs: a\0b\n"s, "it isn't text"},
        {"timeout: 1\r\nprograms: a\r\n", "it isn't text"},
        {"a: b\\\n c\nnonsense\n", "line 3 is no setting"},
        {"two words: b\n", "line 1 is no setting"},
        {"programs: a\nprograms: b\n", "line 2 is a second list"},
        {"selected: 1\nselected: 2\n", "line 2 is a second choice"},
        {"# a \\\nprograms: b\n", "line 1 is a remark that goes on"},
        {"programs: a\\", "it ends within a line"},
    };
    for (const auto& [text, why] : cases) {
        const auto list = SaverList::read(text);
        ASSERT_FALSE(list) << text;
        EXPECT_EQ(list.error(), why);
    }
}

// Steps that grow with the square of the list take minutes here.
TEST(SaverList, LongListsTakeNoLongTime)
{
    std::string ours = "programs: a", others = "programs: ", lines;
    for (int k = 0; k < 100000; ++k) {
        ours += "\\nvitrel";
        others += "\\\n\\nb";
        lines += "a:\n";
    }
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(listOf(ours + "\n").without(), "programs: a\n");
    EXPECT_EQ(listOf(listOf(others).with("vitrel")).without(), others);
    EXPECT_EQ(listOf(lines).state(), State::Absent);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST(SaverListFile, IsReplacedWholeOrNotAtAllBehindItsLinks)
{
    TemporaryFolder folder;
    ASSERT_EQ(mkdir((folder / "dotfiles").c_str(), 0700), 0);
    folder.write("dotfiles/real", "old");
    ASSERT_EQ(chmod((folder / "dotfiles/real").c_str(), 0640), 0);
    ASSERT_EQ(symlink("dotfiles/real", (folder / "middle").c_str()), 0);
    ASSERT_EQ(symlink((folder / "middle").c_str(), (folder / "link").c_str()), 0);
    FailingFiles files;
    files.mostAtOnce = 5;
    int failures = 0;
    for (;; ++failures) {
        files.calls = 0;
        files.failAt = failures + 1;
        const std::string error = replaceSaverListFile(files, folder / "link", "a new text");
        const auto entries = std::distance(
            std::filesystem::directory_iterator(folder / "dotfiles"), std::filesystem::directory_iterator());
        EXPECT_EQ(entries, 1) << "something is left after failure " << failures;
        if (error.empty())
            break;
        EXPECT_EQ(TemporaryFolder::read(folder / "dotfiles/real"), "old") << failures;
    }
    files.failAt = 0;
    EXPECT_EQ(failures, 5) << "open, two writes, fsync, rename";
    EXPECT_EQ(TemporaryFolder::read(folder / "dotfiles/real"), "a new text");
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
    struct stat status {
    };
    ASSERT_EQ(stat((folder / "link").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640u);
    // Without a text a plain file goes; behind a link one stays, empty.
    EXPECT_EQ(replaceSaverListFile(files, folder / "link", std::nullopt), "");
    EXPECT_EQ(TemporaryFolder::read(folder / "link"), "");
    EXPECT_EQ(replaceSaverListFile(files, folder / "dotfiles/real", std::nullopt), "");
    EXPECT_FALSE(std::filesystem::exists(folder / "dotfiles/real"));
    EXPECT_EQ(replaceSaverListFile(files, folder / "link", "there"), "") << "a link to nothing yet";
    EXPECT_EQ(TemporaryFolder::read(folder / "dotfiles/real"), "there");
}

TEST(SaverListFile, ReadsNothingButFilesOfAUsualSize)
{
    TemporaryFolder folder;
    FileSystem files;
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    folder.write("large", std::string(10 << 20, 'a'));
    folder.write("file", "a: b");
    EXPECT_EQ(readSaverListFile(files, folder / "pipe").error(), "it is no file");
    EXPECT_EQ(readSaverListFile(files, folder.path()).error(), "it is no file");
    EXPECT_EQ(readSaverListFile(files, folder / "large").error(), "it is too large");
    EXPECT_EQ(*readSaverListFile(files, folder / "none"), std::nullopt);
    EXPECT_EQ(*readSaverListFile(files, folder / "file"), "a: b");
    EXPECT_EQ(readSaverListFile(files, folder / "file/none").error(), "Not a directory");
}

} // namespace
} // namespace vitrel
