#include "programs/Program.h"
#include "support/LocalServer.h"
#include "support/Repeated.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>

namespace vitrel {
namespace {

using Request = LocalServer::Request;
using Connection = LocalServer::Connection;

std::string rss(const std::string& title)
{
    return "<rss><channel><title>" + title + "</title></channel></rss>";
}
std::string rssLine(const std::string& name, const std::string& title)
{
    return R"({"file":")" + name + R"(","kind":"rss","feed":{"title":")" + title + "\"}}\n";
}
std::string errorLine(const std::string& name, const std::string& reason)
{
    return R"({"file":")" + name + R"(","error":{"case":"internalError","reason":")" + reason + "\"}}\n";
}

struct FeedTool : testing::Test {
    struct Ended {
        int status;
        std::string output;
    };
    static Ended run(std::vector<std::string> words, std::optional<std::string> input = std::nullopt)
    {
        Program program(std::move(words), {{"no_proxy", "*"}}, std::move(input));
        const int status = program.wait();
        EXPECT_EQ(program.errors(), "");
        return {status, program.output()};
    }
    TemporaryFolder folder_;
};

TEST_F(FeedTool, PrintsALineForEachDocumentAndFailsIfOneDoes)
{
    const std::string first = folder_.write("first", rss("one")), second = folder_.write("second", "no feed");
    const std::string atom = folder_.write("atom", "<feed><title>a</title></feed>");
    const std::string json = folder_.write("json", R"(  {"title":"j","items":[]})");
    const std::string atomLine = R"({"file":")" + atom + R"(","kind":"atom","feed":{"title":"a"}})" + "\n";
    const std::string jsonLine = R"({"file":")" + json + R"(","kind":"json","feed":{"title":"j","items":[]}})" + "\n";
    const std::string notFound = R"({"file":")" + second
        + R"(","error":{"case":"feedNotFound","reason":"Couldn't parse any known feed"}})" + "\n";

    auto ended = run({"--jobs", "2", first, atom, json, first});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.output, rssLine(first, "one") + atomLine + jsonLine + rssLine(first, "one"));
    ended = run({second, first, folder_ / "lost", folder_.path()});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.output,
        notFound + rssLine(first, "one") + errorLine(folder_ / "lost", "No such file or directory")
            + errorLine(folder_.path(), "Is a directory"));
    ended = run({"--kind", json, second, atom, first});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.output, json + "\tjson\n" + second + "\terror\n" + atom + "\tatom\n" + first + "\trss\n");
    // A JSON Feed's fields under the models' names.
    const std::string all = folder_.write("all",
        R"({"version":"v","title":"t","home_page_url":"h","feed_url":"f",)"
        R"("description":"d","user_comment":"u","next_url":"n","icon":"i","favicon":"w","expired":true,"hubs":[],"items":[)"
        R"({"id":"1","url":"u","external_url":"e","title":"t","content_text":"x","content_html":"y","summary":"s",)"
        R"("image":"i","banner_image":"b","date_published":"2006-07-02T15:04:05Z","date_modified":"2006-07-02T15:04:06Z",)"
        R"("tags":["g"],"attachments":[{"url":"a","mime_type":"m","title":"t","size_in_bytes":1,"duration_in_seconds":2}]}]})");
    ended = run({all});
    EXPECT_EQ(ended.output,
        R"({"file":")" + all
            + R"(","kind":"json","feed":{"version":"v","title":"t","homePageURL":"h",)"
              R"("feedUrl":"f","description":"d","userComment":"u","nextUrl":"n","icon":"i","favicon":"w","expired":true,"hubs":[],)"
              R"("items":[{"id":"1","url":"u","externalUrl":"e","title":"t","contentText":"x","contentHtml":"y","summary":"s",)"
              R"("image":"i","bannerImage":"b","datePublished":1151852645,"dateModified":1151852646,"tags":["g"],)"
              R"("attachments":[{"url":"a","mimeType":"m","title":"t","sizeInBytes":1,"durationInSeconds":2}]}]}})"
            + "\n");
    ended = run({"--pretty", first});
    EXPECT_EQ(ended.output,
        "{\n  \"file\": \"" + first + "\",\n  \"kind\": \"rss\",\n  \"feed\": {\n    \"title\": \"one\"\n  }\n}\n");
}

TEST_F(FeedTool, TellsWhatItForgives)
{
    const std::string damaged = "<rss><channel><title>a & b</title>";
    const auto ended = run({"--lenient", "-", folder_.write("good", rss("one"))}, damaged);
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.output,
        R"({"file":"-","kind":"rss","forgiven":[{"what":"ampersands","count":1,"first":"& at line 1"},)"
        R"({"what":"brokenOff","count":1,"first":"no element found at line 1, column 39"}],)"
        R"("brokeOff":"no element found at line 1, column 39","feed":{"title":"a & b"}})"
        "\n" + rssLine(folder_ / "good", "one"));
    EXPECT_EQ(run({"--lenient", "--kind", "-"}, damaged).output, "-\trss\n");
    EXPECT_EQ(run({"--lenient", folder_ / "lost"}).output, errorLine(folder_ / "lost", "No such file or directory"));
}

TEST_F(FeedTool, ReadsStandardInput)
{
    EXPECT_EQ(run({"-"}, rss("one")).output, rssLine("-", "one"));
    EXPECT_EQ(run({"--kind", "-"}, "{}").output, "-\tjson\n");
    const auto ended = run({"-"}, "");
    EXPECT_EQ(ended.status, 1);
    EXPECT_NE(ended.output.find("feedNotFound"), std::string::npos);
    // The first 200 bytes decide, and none of them is lost.
    EXPECT_EQ(run({"-"}, std::string(199, ' ') + rss("one")).output, rssLine("-", "one"));
    EXPECT_NE(run({"-"}, std::string(200, ' ') + rss("one")).output.find("feedNotFound"), std::string::npos);
}

// Who writes may have more to say later, of which nothing belongs to the feed.
TEST_F(FeedTool, AnswersAtTheEndOfTheRootThoughThePipeStaysOpen)
{
    const std::string pipe = folder_ / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const int held = ::open(pipe.c_str(), O_RDWR | O_CLOEXEC);
    const std::string feed = rss("one");
    ASSERT_EQ(::write(held, feed.data(), feed.size()), static_cast<ssize_t>(feed.size()));
    EXPECT_EQ(run({pipe}).output, rssLine(pipe, "one"));
    ::close(held);
}

TEST_F(FeedTool, WrongUseIsTwoWithOneLine)
{
    const std::string feed = folder_.write("feed", rss("one"));
    const std::vector<std::string> cases[] = {{}, {"--no-such-option", feed}, {"-", "-"}, {"--pretty", "--kind", feed},
        {"--jobs", "0", feed}, {"--jobs", "many", feed}, {"--watch", "1", feed}, {"--watch", "0", "http://127.0.0.1/"},
        {"--watch", "http://127.0.0.1/"}, {"--table", "--entries", feed}, {"--table", "--pretty", feed},
        {"--discover", "--opml", feed}, {"-", "--opml", "-"}, {"--opml"},
        {"--to-opml", "--watch", "1", "http://127.0.0.1/"}, {"--watch", "1", "http://127.0.0.1/", "http://127.0.0.1/"}};
    for (const auto& words : cases) {
        Program program(words);
        EXPECT_EQ(program.wait(), 2) << testing::PrintToString(words);
        EXPECT_TRUE(program.saidOneError()) << program.errors();
        EXPECT_EQ(program.output(), "");
    }
    EXPECT_NE(run({"--help"}).output.find("--watch"), std::string::npos);
    EXPECT_EQ(run({"--version"}).output.find("feedkit "), 0u);
}

TEST_F(FeedTool, FetchesAddresses)
{
    LocalServer server([](const Request& request, const Connection& to) {
        to.send(request.target == "/feed" ? LocalServer::answer(rss("one")) : LocalServer::answer("", {}, "404 X"));
    });
    const std::string feed = server.url("/feed"), lost = server.url("/lost");
    const std::string asFeed = "feed" + feed.substr(4), file = "file://" + folder_.write("feed", rss("two"));
    const auto ended = run({feed, asFeed, file, lost, "gopher://127.0.0.1/", "feed:lost"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.output,
        rssLine(feed, "one") + rssLine(asFeed, "one") + rssLine(file, "two")
            + errorLine(lost, "the server answered with status 404 (not found)")
            + errorLine("gopher://127.0.0.1/", R"(unsupported scheme \"gopher\")")
            + errorLine("feed:lost", "the address has no host"));
    // Only what can't be a file's name by accident is an address.
    const std::string odd = folder_.write("a:b", rss("three"));
    EXPECT_EQ(run({odd}).output, rssLine(odd, "three"));
}

// Of any format the same fields, resolved against where the document lay; what the models don't keep is there, too.
TEST_F(FeedTool, PrintsEntries)
{
    const std::string feed
        = "<rss><channel><title>F</title><item><guid>1</guid><title>A &amp;amp; B</title><link>l</link>"
          "<pubDate>1970-01-01T00:00:01Z</pubDate><atom:link rel='self' href='s'/><enclosure url='a'/>"
          "<enclosure url='b'/></item><item><description>&lt;p>T</description></item></channel></rss>";
    LocalServer server([&](const Request& request, const Connection& to) {
        to.send(request.target == "/x/feed" ? LocalServer::answer(feed)
                                            : LocalServer::answer("", "Location: /x/feed\r\n", "302 Found"));
    });
    const std::string name = server.url("/old"), base = server.url("/x/"),
                      atom = folder_.write("atom", "<feed><title>a</title></feed>");
    const auto lost = folder_ / "lost";
    auto ended = run({"--entries", name, atom, lost});
    EXPECT_EQ(ended.status, 1);
    const auto first = R"({"file":")" + name + R"(","id":"1","title":"A & B","link":")" + base
        + R"(l","published":1,"enclosures":[{"url":")" + base + R"(a"},{"url":")" + base + R"(b"}]})" + "\n";
    EXPECT_EQ(ended.output.substr(0, first.size()), first);
    EXPECT_NE(ended.output.find(R"("summary":{"text":"T","markup":"<p>T"}})"), std::string::npos);
    EXPECT_EQ(ended.output.substr(ended.output.rfind('\n', ended.output.size() - 2) + 1),
        errorLine(lost, "No such file or directory"));
    EXPECT_EQ(std::count(ended.output.begin(), ended.output.end(), '\n'), 3) << "none for a feed without entries";
}

TEST_F(FeedTool, ShowsATableInTheTerminalsWidth)
{
    // A wide character is two columns; what would command the terminal is gone; the link is cut where it must be.
    const std::string feed = folder_.write("feed",
        "<rss><channel><title>N</title><link>http://h/</link><item><title>日本語の長い見出しです</title><link>http://h/"
        "1</link>"
        "<pubDate>2001-02-03T04:05:06Z</pubDate></item><item><description>x&#x202E;y&#x9b;z e&#x301;</description>"
        "<link>http://h/2</link></item></channel></rss>");
    const auto table = [&](const char* columns) {
        Program program({"--table", feed, folder_ / "lost", feed}, {{"COLUMNS", columns}});
        EXPECT_EQ(program.wait(), 1);
        return program.output();
    };
    const std::string narrow
        = "N - http://h/\n2001-02-03  日本語の長い見…   http://h/1\n            xy z e\u0301            http://h/2\n";
    const std::string error = folder_ / "lost" + ": No such file or directory\n";
    EXPECT_EQ(table("40"), narrow + "\n" + error + "\n" + narrow);
    const std::string wide = "N - http://h/\n2001-02-03 04:05  日本語の長い見出しです  http://h/1\n"
                             "                  xy z e\u0301                  http://h/2\n";
    EXPECT_EQ(table("80"), wide + "\n" + error + "\n" + wide);
    EXPECT_EQ(table("no"), table("100"));
    const std::string large = folder_.write("large",
        "<rss><channel><item><link>http://h/" + std::string(100, 'x') + "</link><title>" + std::string(100, 'y')
            + "</title></item></channel></rss>");
    Program program({"--table", large}, {{"COLUMNS", "62"}});
    program.wait();
    EXPECT_EQ(program.output(), large + "\n" + std::string(39, 'y') + "…  http://h/" + std::string(10, 'x') + "…\n");
}

TEST_F(FeedTool, FindsFeedsOfPages)
{
    const std::string page = folder_.write("page",
        "<link rel=alternate type=application/rss+xml title='A &amp; B' href=http://h/f><a href=http://h/x.rss></a>");
    const std::string none = folder_.write("none", "<p>");
    LocalServer server(
        [&](const Request&, const Connection& to) { to.send(LocalServer::answer("<link rel=feed href=f>")); });
    const auto ended = run({"--discover", page, server.url("/a/b"), none});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.output,
        R"({"file":")" + page + R"(","url":"http://h/f","title":"A & B","type":"application/rss+xml"})" + "\n"
            + R"({"file":")" + page + R"(","url":"http://h/x.rss","guess":true})" + "\n" + R"({"file":")"
            + server.url("/a/b") + R"(","url":")" + server.url("/a/f") + "\"}\n");
}

TEST_F(FeedTool, ReadsAndWritesLists)
{
    LocalServer server([&](const Request& request, const Connection& to) {
        to.send(LocalServer::answer(request.target == "/list"
                ? "<opml><body><outline xmlUrl='feed'/><outline xmlUrl='file:///etc/passwd'/></body></opml>"
                : rss("one")));
    });
    const std::string one = server.url("/feed"),
                      two
        = "file://" + folder_.write("two", "<rss><channel><title>two</title><link>http://h/</link></channel></rss>");
    auto ended = run({"--to-opml", one, two});
    EXPECT_EQ(ended.status, 0);
    const std::string outlines = "    <outline text=\"one\" type=\"rss\" xmlUrl=\"" + one
        + "\"/>\n    <outline text=\"two\" type=\"rss\" xmlUrl=\"" + two + "\" htmlUrl=\"http://h/\"/>\n";
    EXPECT_NE(ended.output.find("  <body>\n" + outlines + "  </body>\n"), std::string::npos) << ended.output;
    // One that nobody can fetch again is none to subscribe to.
    Program nowhere({"--to-opml", folder_.write("nowhere", rss("one"))});
    EXPECT_EQ(nowhere.wait(), 1);
    EXPECT_TRUE(nowhere.saidOneError()) << nowhere.errors();
    EXPECT_EQ(nowhere.output().find("<outline"), std::string::npos);
    // A list of our own may name files, one from elsewhere must not, and neither standard input.
    const std::string list = folder_.write("list", ended.output);
    EXPECT_EQ(run({"--kind", "--opml", list}).output, one + "\trss\n" + two + "\trss\n");
    for (const auto& refused :
        {server.url("/list"), folder_.write("bad", "<opml><body><outline xmlUrl='-'/></body></opml>")}) {
        Program program({"--kind", two, "--opml", refused}, {{"no_proxy", "*"}});
        EXPECT_EQ(program.wait(), 1);
        EXPECT_TRUE(program.saidOneError()) << program.errors();
        EXPECT_EQ(program.output(), two + "\trss\n" + (refused == server.url("/list") ? one + "\trss\n" : ""));
    }
}

// What is too long to wait as a text is written from its feed when its turn has come.
TEST_F(FeedTool, WritesLongDocumentsInTheirTurn)
{
    const std::string escaped = repeated("\\\"", 5'000'000), small = folder_.write("small", rss("one"));
    const std::string large = folder_.write("large", rss(std::string(5'000'000, '"')));
    EXPECT_TRUE(
        run({large, small, large}).output == rssLine(large, escaped) + rssLine(small, "one") + rssLine(large, escaped));
}

// The server's story, one letter a request, and what is printed of it in the end.
TEST_F(FeedTool, WatchPrintsEachChangeOnce)
{
    const struct {
        const char* story; // a, b: the feed; -: not modified; !: an error
        std::vector<std::string> lines;
        const char* why;
    } cases[] = {{"aab", {"a", "b"}, "a server that knows no validators"}, {"a---b-", {"a", "b"}, "one that does"},
        {"a!!a", {"a", "!", "a"}, "an error shows, and so does its end"}, {"!!b", {"!", "b"}, "from the beginning"}};
    for (const auto& [story, lines, why] : cases) {
        std::atomic<std::size_t> asked = 0;
        LocalServer server([&, told = std::string(story)](const Request& request, const Connection& to) {
            const char next = told[std::min(asked++, told.size() - 1)];
            if (next == '-' && request.header("if-none-match") == "\"mark\"")
                to.send("HTTP/1.1 304 Not Modified\r\n\r\n");
            else if (next == '!')
                to.send(LocalServer::answer("", {}, "503 Later"));
            else
                to.send(LocalServer::answer(rss(std::string(1, next)), "ETag: \"mark\"\r\n"));
        });
        std::string expected;
        for (const auto& line : lines) {
            expected += line == "!"
                ? errorLine(server.url(), "the server answered with status 503 (service unavailable)")
                : rssLine(server.url(), line);
        }
        Program program({"--watch", "0.01", server.url()}, {{"no_proxy", "*"}});
        while (asked < std::string(story).size() + 3 && program.wait(0.005) == -1000) { }
        EXPECT_EQ(program.output(), expected) << why;
        EXPECT_EQ(program.errors(), "");
    }
}

TEST_F(FeedTool, EndsQuietlyWhenNobodyReadsAndSaysSoWhenADiskIsFull)
{
    const std::string feed = folder_.write("feed", rss(std::string(1'000'000, 'x'))); // more than a pipe holds
    const auto shell = [&](const std::string& redirected) {
        // The program ends with its threads at work, which the thread sanitizer reports unless it is told not to.
        const std::string call
            = "{ TSAN_OPTIONS=report_thread_leaks=0 '" VITREL_PROGRAM "' '" + feed + "' '" + feed + "' " + redirected;
        EXPECT_EQ(std::system(call.c_str()), 0) << call;
    };
    const std::string status = folder_ / "status", errors = folder_ / "errors";
    shell("; echo $? > '" + status + "'; } 2> '" + errors + "' | true");
    EXPECT_EQ(TemporaryFolder::read(status), "1\n");
    EXPECT_EQ(TemporaryFolder::read(errors), "");
    shell("> /dev/full; echo $? > '" + status + "'; } 2> '" + errors + "'");
    EXPECT_EQ(TemporaryFolder::read(status), "1\n");
    EXPECT_EQ(TemporaryFolder::read(errors), "feedkit: can't write the output: No space left on device\n");
}

} // namespace
} // namespace vitrel
