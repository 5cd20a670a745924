#include "feedinput/FeedInput.h"
#include "preferences/Settings.h"
#include "support/FakeFetcher.h"
#include "support/TestSurroundings.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre, testing::HasSubstr, testing::IsEmpty;

std::string feedOf(const std::string& title, int items = 1)
{
    std::string document = "<rss><channel><title>" + title + "</title>";
    for (int k = 1; k <= items; ++k)
        document += "<item><title>" + std::to_string(k) + "</title><description>&lt;p>text&lt;/p></description></item>";
    return document + "</channel></rss>";
}

// A view that only says what it is asked.
struct View final : FeedInputView, std::enable_shared_from_this<View> {
    explicit View(const Surroundings& surroundings)
        : input(*this, surroundings)
    { }

    std::shared_ptr<FeedInputView> retained() override { return shared_from_this(); }
    std::vector<std::string> inputKeys() const override { return keys; }
    Value valueForInputKey(const std::string&) const override { return count; }
    void setQuartzCompositionValue(const Value& value, const std::string& key) override
    {
        const auto text = *value.as<std::string>();
        if (key == "Vitrel_Feed_Entries")
            return log.push_back(text);
        const auto at = text.find("\"Title\":\"") + 9;
        log.push_back(key + " " + text.substr(at, text.find('"', at) - at));
        written = text;
    }
    void fileDidChange() override { log.push_back("reload"); }
    void updateView() override { log.push_back("update sheet"); }
    void updateCompositionInputs() override { input.updateCompositionInputs(); }

    std::vector<std::string> keys{"Muralis_RSS_Feed"};
    Value count;
    std::vector<std::string> log;
    std::string written;
    FeedInput input;
};

struct Feeding : TestSurroundings {
    std::shared_ptr<FakeFetcher> fetcher = std::make_shared<FakeFetcher>();
    std::shared_ptr<View> view;

    explicit Feeding(bool isKnown = true)
    {
        surroundings.feedFetcher = fetcher;
        view = std::make_shared<View>(surroundings);
        store.setValueForKey(kIdentifier, "Active File Path", "/anywhere/Feeder.qtz");
        if (isKnown)
            item().setIsRSSVisualizer(true);
    }
    ~Feeding() { view->input.stop(); }

    VitrelItem item() { return *Settings::shared(surroundings).selectedVitrelItem(); }
    // Runs the view's operation, then the queue, then the main queue.
    std::vector<std::string> update()
    {
        view->updateCompositionInputs();
        return settle();
    }
    std::vector<std::string> settle()
    {
        while (!feeds.blocks.empty() || loop.nextDue() == clock.time) {
            feeds.drain();
            loop.turn();
        }
        return std::exchange(view->log, {});
    }
};

TEST(FeedInput, ShowsThePlaceholderAndThenTheFeed)
{
    Feeding in;
    in.item().setRssFeedURL("http://host/feed");
    in.fetcher->answers = {feedOf("First"), feedOf("Second")};
    in.view->updateCompositionInputs();
    EXPECT_THAT(in.view->log, IsEmpty()) << "not in this turn";
    EXPECT_THAT(in.settle(), ElementsAre("Muralis_RSS_Feed Hello", "Muralis_RSS_Feed First"));
    EXPECT_THAT(in.view->written, HasSubstr(R"("description":"text")"));
    EXPECT_THAT(in.update(), ElementsAre("Muralis_RSS_Feed First", "Muralis_RSS_Feed Second"));
    in.fetcher->answers = {"{\"title\": \"json\"}"};
    for (int failure = 0; failure < 2; ++failure)
        EXPECT_THAT(in.update(), ElementsAre("Muralis_RSS_Feed Second")) << "a failure changes nothing";
    in.fetcher->answers = {feedOf("Third")};
    EXPECT_THAT(in.update(), ElementsAre("Muralis_RSS_Feed Second", "Muralis_RSS_Feed Third"));
    EXPECT_THAT(in.fetcher->asked, testing::Each("http://host/feed"));
}

TEST(FeedInput, NotesWhetherACompositionShowsFeedsAndReloadsItOnce)
{
    Feeding in(false);
    in.fetcher->answers = {feedOf("A"), feedOf("B")};
    EXPECT_THAT(in.update(), ElementsAre("reload", "update sheet", "Muralis_RSS_Feed Hello", "Muralis_RSS_Feed A"));
    EXPECT_EQ(in.item().boolForKey(VitrelItem::Key::isRSSVisualizer), true);
    EXPECT_THAT(in.update(), ElementsAre("Muralis_RSS_Feed A", "Muralis_RSS_Feed B"));
    in.view->keys.clear();
    EXPECT_THAT(in.update(), ElementsAre("reload", "update sheet")) << "the input is gone";
    EXPECT_EQ(in.item().boolForKey(VitrelItem::Key::isRSSVisualizer), false);
    EXPECT_THAT(in.update(), IsEmpty());
}

TEST(FeedInput, LeavesOrdinaryCompositionsAlone)
{
    Feeding in(false), none(false);
    in.view->keys = {"Name"};
    EXPECT_THAT(in.update(), IsEmpty());
    EXPECT_EQ(in.item().boolForKey(VitrelItem::Key::isRSSVisualizer), std::nullopt) << "nothing is stored for it";
    EXPECT_FALSE(in.view->input.rssFeedReloader());
    // No composition was ever chosen: the default one plays unfed.
    none.store.setValueForKey(Feeding::kIdentifier, "Active File Path", Value());
    EXPECT_THAT(none.update(), IsEmpty());
    EXPECT_THAT(none.fetcher->asked, IsEmpty());
}

TEST(FeedInput, TakesTheDefaultFeedForNoAddressAndNothingForABadOne)
{
    const std::pair<const char*, bool> cases[] = {{"", true}, {"http://host/a%20b", true}, {"feed://host/", true},
        {"two words", false}, {"<http://host/", false}, {"http://host/\n", false}, {"http://host/%2", false},
        {"http://host/%2G", false}, {"http://host/%@2x", false}, {"http://host/%aF", true},
        {"http://h\u00F6st/", false}, {"javascript:\"x\"", false}};
    for (const auto& [address, loads] : cases) {
        Feeding in;
        in.item().setRssFeedURL(address);
        in.update();
        EXPECT_EQ(in.fetcher->asked.size(), loads ? 1u : 0u) << address;
        if (!*address) {
            EXPECT_THAT(in.fetcher->asked[0], testing::StartsWith("https://"));
        }
    }
}

TEST(FeedInput, AsksForAsManyArticlesAsTheCompositionWants)
{
    const std::pair<Value, std::int64_t> cases[]
        = {{3, 3}, {2.0, 2}, {2.5, 7}, {"3", 7}, {Value(), 7}, {true, 1}, {-1, -1}, {1e300, 7}, {std::nan(""), 7}};
    for (const auto& [value, count] : cases) {
        Feeding in;
        in.view->keys.push_back("Muralis_RSS_ArticlesCount");
        in.view->count = 7;
        in.update();
        in.view->count = value;
        in.fetcher->answers = {feedOf("A", 9)};
        in.update();
        EXPECT_EQ(in.view->input.articlesCount(), count) << description(value);
        const auto isIn = [&](std::int64_t article) {
            return in.view->written.find("\"title\":\"" + std::to_string(article) + '"') != std::string::npos;
        };
        EXPECT_TRUE(isIn(count < 1 ? 9 : count) && !isIn(count < 1 ? 10 : count + 1)) << description(value);
    }
}

TEST(FeedInput, LoadsAnewEveryFiveMinutesUntilItIsStopped)
{
    Feeding in;
    in.update();
    const auto timer = in.view->input.rssFeedReloader();
    in.update();
    EXPECT_EQ(in.view->input.rssFeedReloader(), timer) << "a timer that is there stays";
    in.fetcher->asked.clear();
    in.fastForwardBy(299s);
    in.settle();
    EXPECT_THAT(in.fetcher->asked, IsEmpty());
    in.fastForwardBy(2s);
    in.settle();
    EXPECT_EQ(in.fetcher->asked.size(), 1u);
    in.view->input.stop();
    in.fastForwardBy(900s);
    in.settle();
    EXPECT_EQ(in.fetcher->asked.size(), 1u);
}

TEST(FeedInput, TheLastLoadThatComesWins)
{
    Feeding in;
    in.fetcher->answers = {feedOf("Second"), feedOf("First")};
    for (const char* address : {"http://host/first", "http://host/second"}) {
        in.item().setRssFeedURL(address);
        in.view->updateCompositionInputs();
    }
    ASSERT_EQ(in.feeds.blocks.size(), 2u);
    std::swap(in.feeds.blocks[0], in.feeds.blocks[1]);
    in.settle();
    EXPECT_THAT(in.fetcher->asked, ElementsAre("http://host/second", "http://host/first"));
    EXPECT_THAT(in.view->written, HasSubstr("\"Title\":\"First\""));
}

// Each publication writes what it always does, and so does the end of each load; only the requests are fewer.
TEST(FeedInput, JoinsTheLoadThatIsUnderWay)
{
    Feeding in;
    const auto other = std::make_shared<View>(in.surroundings);
    other->keys = {"Muralis_RSS_Feed", "Muralis_RSS_ArticlesCount"};
    other->count = 2;
    in.fetcher->answers = {feedOf("A", 3), feedOf("B")};
    other->updateCompositionInputs();
    in.view->updateCompositionInputs();
    in.view->updateCompositionInputs();
    EXPECT_EQ(in.feeds.blocks.size(), 1u);
    EXPECT_TRUE(in.initiated.blocks.empty()) << "nothing else waits behind a feed";
    const std::string hello = "Muralis_RSS_Feed Hello", a = "Muralis_RSS_Feed A";
    EXPECT_THAT(in.settle(), ElementsAre(hello, hello, a, a));
    EXPECT_THAT(other->log, ElementsAre(hello, a));
    EXPECT_EQ(in.fetcher->asked.size(), 1u);
    EXPECT_THAT(in.view->written, HasSubstr("\"title\":\"3\"")) << "each as many articles as it wants";
    EXPECT_THAT(other->written, testing::Not(HasSubstr("\"title\":\"3\"")));
    EXPECT_THAT(in.update(), ElementsAre(a, "Muralis_RSS_Feed B")) << "what is over can't be joined";
    other->input.stop();
}

TEST(FeedInput, WritesTheLastFeedAgainWhenTheServerSaysThatNothingChanged)
{
    Feeding in;
    in.view->keys.push_back("Muralis_RSS_ArticlesCount");
    in.view->count = 1;
    const std::string a = "Muralis_RSS_Feed A", b = "Muralis_RSS_Feed B";
    in.fetcher->answers = {feedOf("A", 3), "no feed", feedOf("B")};
    in.fetcher->eTag = "one";
    in.update();
    EXPECT_THAT(in.update(), ElementsAre(a, a)) << "though there was one answer alone";
    in.view->count = 0;
    in.update();
    EXPECT_THAT(
        in.view->written, testing::ContainsRegex(R"("description":"text","link":null,"systemTime":null,"title":"3")"))
        << "more of its articles";
    in.fetcher->eTag = "two";
    EXPECT_THAT(in.update(), ElementsAre(a)) << "a document that is no feed";
    in.fetcher->eTag = "one";
    EXPECT_THAT(in.update(), ElementsAre(a, a)) << "is no reason to forget the last";
    in.fetcher->eTag = std::nullopt;
    EXPECT_THAT(in.update(), ElementsAre(a, b));
    EXPECT_THAT(in.fetcher->asked, testing::SizeIs(6));
}

TEST(FeedInput, StopsTheLoadThatNobodyWaitsFor)
{
    Feeding in;
    const auto other = std::make_shared<View>(in.surroundings);
    in.fetcher->answers = {feedOf("A"), feedOf("B")};
    in.view->updateCompositionInputs();
    other->updateCompositionInputs();
    in.view->input.stop();
    EXPECT_THAT(in.settle(), ElementsAre("Muralis_RSS_Feed Hello"));
    EXPECT_THAT(other->log, ElementsAre("Muralis_RSS_Feed Hello", "Muralis_RSS_Feed A")) << "who still waits gets it";
    testing::internal::CaptureStdout();
    other->updateCompositionInputs();
    other->input.stop();
    in.view->updateCompositionInputs();
    EXPECT_EQ(in.feeds.blocks.size(), 2u) << "one that is stopped isn't joined";
    EXPECT_THAT(in.settle(), ElementsAre("Muralis_RSS_Feed Hello", "Muralis_RSS_Feed B"));
    EXPECT_EQ(in.fetcher->asked.size(), 2u);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "to stop is no failure";
}

TEST(FeedInput, SaysWhatFailedOnStandardOutputAndPublishesNoJSONFeed)
{
    Feeding in;
    in.fetcher->answers = {"<rss><broken", "no feed", "{\"title\": \"J\"}"};
    testing::internal::CaptureStdout();
    for (int k = 0; k < 4; ++k)
        EXPECT_THAT(in.update(), ElementsAre("Muralis_RSS_Feed Hello")) << k;
    const auto said = testing::internal::GetCapturedStdout();
    EXPECT_THAT(said, HasSubstr("internalError(reason: \"unclosed token at line 1, column 6\")\n"));
    EXPECT_THAT(said, HasSubstr("feedNotFound\n"));
    EXPECT_THAT(said, HasSubstr("internalError(reason: \"the host was not found\")\n"));
    EXPECT_THAT(said, testing::Not(HasSubstr("J")));
}

// Of a view that has no more than titles, in its form.
std::string entriesOf(const std::string& feed, const std::vector<std::string>& titles)
{
    const auto quoted = [](const std::string& text) { return text.empty() ? "null" : '"' + text + '"'; };
    std::string text;
    for (const auto& title : titles)
        text += (text.empty() ? "" : ",") + (R"({"audio":null,"authors":[],"id":)" + quoted(title))
            + R"(,"image":null,"link":null,"published":null,"text":null,"title":)" + quoted(title)
            + R"(,"updated":null})";
    return R"({"description":null,"entries":[)" + text + R"(],"image":null,"link":null,"title":)" + quoted(feed)
        + R"(,"updated":null})";
}

std::string entriesFeed(const std::string& title, const std::string& ahead = "")
{
    std::string document = "<rss><channel>" + ahead + "<title>" + title + "</title>";
    for (const std::string name : {"x", "y", "z"})
        document += "<item><guid isPermaLink='false'>" + name + "</guid><title>" + name + "</title></item>";
    return document + "</channel></rss>";
}

TEST(FeedInput, WritesTheEntriesOfWhateverFeedToWhoAsksForThem)
{
    Feeding in;
    const std::string hello = "Muralis_RSS_Feed Hello", a = "Muralis_RSS_Feed A";
    in.fetcher->answers = {entriesFeed("A"), entriesFeed("A"), entriesFeed("B", "<copyright>A & B</copyright>"),
        "no feed", R"({"version":"https://jsonfeed.org/version/1","title":"C","items":[{"id":"x","title":"x"}]})"};
    in.view->keys = {"Vitrel_Feed_Entries"};
    EXPECT_THAT(in.update(), ElementsAre("reload", "update sheet")) << "they come with the feed alone";
    in.view->keys = {"Muralis_RSS_Feed", "Vitrel_Feed_Entries", "Muralis_RSS_ArticlesCount"};
    EXPECT_THAT(in.update(), ElementsAre("reload", "update sheet", hello, a, entriesOf("A", {"x", "y", "z"})));
    in.view->count = 2;
    EXPECT_THAT(in.update(), ElementsAre(a, a, entriesOf("A", {"x", "y"})));
    testing::internal::CaptureStdout();
    const auto mended = in.update(), nothing = in.update();
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
        testing::MatchesRegex("internalError\\(reason: \"[^\n]*\"\\)\nfeedNotFound\n"));
    EXPECT_THAT(mended, ElementsAre(a, entriesOf("B", {"x", "y"}))) << "the strict reading refuses it";
    EXPECT_THAT(nothing, ElementsAre(a)) << "there is nothing to be read";
    EXPECT_THAT(in.update(), ElementsAre(a, entriesOf("C", {"x"}))) << "JSON";
    EXPECT_THAT(in.fetcher->asked, testing::SizeIs(5)) << "one request each";
    in.fetcher->answers = {entriesFeed("D")};
    in.view->updateCompositionInputs();
    in.feeds.drain();
    in.loop.turn();
    EXPECT_THAT(in.view->log, ElementsAre(a)) << "the turn in which the load ends";
    const std::string d = "Muralis_RSS_Feed D";
    EXPECT_THAT(in.settle(), ElementsAre(a, d, entriesOf("D", {"x", "y"})));
    for (const bool unmodified : {false, true}) {
        in.fetcher->isAlwaysUnmodified = unmodified;
        in.fetcher->asked.clear();
        EXPECT_THAT(in.update(), ElementsAre(d)) << "a fetch that fails changes nothing";
        EXPECT_THAT(in.fetcher->asked, testing::SizeIs(1)) << "and isn't tried again for the entries";
    }
}

TEST(FeedInput, KeepsEntriesThatHaveNotChangedAndFetchesThoseThatNobodyWantedBefore)
{
    Feeding in;
    const auto plain = std::make_shared<View>(in.surroundings);
    const std::string a = "Muralis_RSS_Feed A", all = entriesOf("A", {"x", "y", "z"});
    in.fetcher->eTag = "one";
    in.fetcher->answers.assign(4, entriesFeed("A"));
    in.fetcher->answers.push_back(entriesFeed("B", "<copyright>A & B</copyright>"));
    in.update();
    in.view->keys.push_back("Vitrel_Feed_Entries");
    EXPECT_THAT(in.update(), ElementsAre(a, a, all)) << "the last answer was read without";
    plain->updateCompositionInputs();
    EXPECT_THAT(in.update(), ElementsAre(a, a, all)) << "out of memory";
    EXPECT_THAT(plain->log, ElementsAre("Muralis_RSS_Feed Hello", a)) << "who doesn't ask gets none";
    EXPECT_EQ(in.fetcher->answers.size(), 3u);

    in.item().setRssFeedURL("feed://host/other");
    for (const bool joins : {false, true}) {
        plain->updateCompositionInputs();
        if (joins)
            in.fetcher->onAsk = [&] { in.view->updateCompositionInputs(); };
        EXPECT_THAT(in.settle(), testing::SizeIs(joins ? 3 : 0));
    }
    EXPECT_THAT(in.fetcher->asked, testing::SizeIs(6)) << "it joins a request whose answer is that nothing has changed";
    EXPECT_EQ(in.fetcher->asked.back(), "http://host/other");
    plain->input.stop();

    in.fetcher->eTag = "two";
    testing::internal::CaptureStdout();
    const auto first = in.update(), again = in.update();
    const auto said = testing::internal::GetCapturedStdout();
    EXPECT_THAT(first, ElementsAre(a, entriesOf("B", {"x", "y", "z"})));
    EXPECT_EQ(first, again) << "kept though the strict reading refuses it";
    EXPECT_EQ(said.size(), 2 * said.find('\n') + 2) << "which is said each time: " << said;
}

// What a load holds must not go on another thread, and not at all while the load or the timer is there.
TEST(FeedInput, HoldsTheViewWhileALoadIsUnderWayAndThenByItsTimer)
{
    Feeding in;
    in.fetcher->answers = {feedOf("A")};
    for (const bool timed : {false, true}) {
        auto view = std::make_shared<View>(in.surroundings);
        const std::weak_ptr<View> watched = view;
        if (timed)
            view->updateCompositionInputs();
        else
            view->input.loadRSSFeed("http://host/feed");
        auto* input = &view->input;
        view.reset();
        EXPECT_FALSE(watched.expired()) << timed;
        in.settle();
        EXPECT_EQ(watched.expired(), !timed) << "the timer holds it on";
        if (timed) {
            input->stop();
            in.loop.turn();
        }
        EXPECT_TRUE(watched.expired()) << timed;
    }
}

} // namespace
} // namespace vitrel
