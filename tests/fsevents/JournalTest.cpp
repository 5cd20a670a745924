#include "platform/fsevents/Journal.h"

#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

namespace vitrel {
namespace {

FSJournal sample()
{
    FSJournal journal;
    journal.last = journal.from = 7;
    journal.add({8, 0x10100, "/a b/100%\n"});
    journal.add({12, 0x20200, "/c"});
    journal.snapshot["/a b/100%\n"] = {5, 0100644, 1000, 100, 2, 4096, -1, 1'700'000'000'123'456'789};
    return journal;
}

TEST(Journal, ReadsBackWhatItWroteAndNoPartOfIt)
{
    const FSJournal journal = sample();
    const std::string text = journalText(journal);
    const auto back = readJournal(text);
    ASSERT_TRUE(back) << text;
    EXPECT_EQ(back->last, 12u);
    EXPECT_EQ(back->from, 7u);
    EXPECT_EQ(back->events, journal.events);
    EXPECT_EQ(back->snapshot, journal.snapshot);
    for (std::size_t size = 0; size + 1 < text.size(); ++size)
        EXPECT_FALSE(readJournal(text.substr(0, size))) << size;
}

TEST(Journal, RefusesWhatIsNone)
{
    const std::string head = "vitrel-fsevents 1\nid 9 2\n", item = "item 5 33188 0 0 1 0 0 0 ";
    ASSERT_TRUE(readJournal(head + "event 3 256 /a\n" + item + "/a\nend 2\n"));
    for (const std::string& text : {std::string("vitrel-fsevents 2\nid 9 2\nend 0\n"),
             std::string("vitrel-fsevents 1\nid 2 9\nend 0\n"), // complete behind its end
             std::string("vitrel-fsevents 1\nid 18446744073709551615 2\nend 0\n"), // no event could follow
             head + "event 2 256 /a\nend 1\n", head + "event 10 256 /a\nend 1\n",
             head + "event 5 256 /a\nevent 5 256 /b\nend 2\n", head + "event 5 4294967296 /a\nend 1\n",
             head + "event 5 256 a\nend 1\n", head + "event 5 256 /%0\nend 1\n", head + "event 5 256 /%00\nend 1\n",
             head + "event 5 256 /a b\nend 1\n", head + item + "/a\n" + item + "/a\nend 2\n",
             head + "item 5 33188 0 0 1 0 0 /a\nend 1\n", head + "end 1\n", head + "end 0\nend 0\n",
             head + "event 5 256 /a" + '\0' + "\nend 1\n", head + "what\nend 1\n"})
        EXPECT_FALSE(readJournal(text)) << text;
}

TEST(Journal, KeepsTheLastEventsAndSaysFromWhere)
{
    FSJournal journal;
    for (FSEventStreamEventId id = 1; id <= FSJournal::kMostEvents + 5; ++id)
        journal.add({id, 0, "/a"});
    EXPECT_EQ(journal.events.size(), FSJournal::kMostEvents);
    EXPECT_EQ(journal.from + 1, journal.events.front().id);
}

TEST(Journals, KeepAFewAndOneForEachListOfPaths)
{
    TemporaryFolder folder;
    const FSJournals journals(folder.path() + "/made");
    for (std::size_t k = 0; k < FSJournals::kMostFiles + 3; ++k)
        ASSERT_TRUE(journals.save({"/" + std::to_string(k)}, sample()));
    std::filesystem::directory_iterator files(folder.path() + "/made");
    EXPECT_EQ(std::size_t(std::distance(begin(files), end(files))), FSJournals::kMostFiles);
    EXPECT_FALSE(journals.load({"/a", "/b"}));
    EXPECT_TRUE(journals.load({"/" + std::to_string(FSJournals::kMostFiles + 2)}));
}

TEST(Journals, NumbersRiseOverProcessesAndOverBrokenCounters)
{
    TemporaryFolder folder;
    const FSJournals journals(folder.path());
    const auto first = journals.take(10, 0);
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(journals.take(1000, 0) == first + 10 ? 0 : 1);
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    auto last = first + 1009;
    for (const char* broken : {"", "x", "18446744073709551615", "99999999999999999999999999", "-5"}) {
        EXPECT_GT(journals.take(1, last), last) << broken;
        ++last;
        folder.write("counter", broken);
    }
    EXPECT_GT(journals.take(1, last + 500), last + 500);
    EXPECT_GT(FSJournals("").take(1, 0), last) << "without a folder";
}

} // namespace
} // namespace vitrel
