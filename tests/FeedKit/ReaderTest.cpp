#include "programs/Program.h"
#include "support/LocalServer.h"

#include <gtest/gtest.h>

namespace vitrel {
namespace {

// The reader of examples/, as its user would run it: against servers, twice.
TEST(Reader, ShowsWhatIsNewOfFeedsAndPages)
{
    std::atomic<bool> isLater = false;
    LocalServer server([&](const LocalServer::Request& request, const LocalServer::Connection& to) {
        const std::string early
            = "<item><guid>1</guid><title>R&D</title><link>/1</link><pubDate>2 Jan 06</pubDate></item>";
        const std::string late = "<item><title>Late</title><link>/2</link><pubDate>3 Jan 06</pubDate></item>";
        if (request.target == "/page")
            to.send(LocalServer::answer("<p><link rel=alternate type=application/rss+xml href='feed?a&amp;b'>"));
        else if (request.target == "/feed?a&b")
            to.send(LocalServer::answer("<rss><channel><title>News</title>" + early + (isLater ? late : "")));
        else
            to.send(LocalServer::answer("nothing", {}, "404 X"));
    });
    const TemporaryFolder home;
    const auto run = [&] {
        Program reader({server.url("/page"), server.url("/lost")}, {{"no_proxy", "*"}, {"HOME", home.path()}}, "");
        EXPECT_EQ(reader.wait(), 0);
        return reader.output();
    };
    const auto lost = "== " + server.url("/lost") + ": the server answered with status 404 (not found)\n";
    EXPECT_EQ(run(), "== News\n  R&D\n  " + server.url("/1") + "\n" + lost);
    isLater = true;
    EXPECT_EQ(run(), "== News\n  Late\n  " + server.url("/2") + "\n" + lost) << "what has been seen is not shown";
    EXPECT_EQ(run(), "== News\n" + lost);
}

} // namespace
} // namespace vitrel
