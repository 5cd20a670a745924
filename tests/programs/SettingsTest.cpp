// feed-url and doctor: what a user sees of the settings and of what they lead to.
#include "Program.h"
#include "support/LocalServer.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

using testing::ContainsRegex;
using testing::HasSubstr;

struct Ran {
    int code = 0;
    std::string output;
};

Ran run(const TemporaryFolder& settings, std::vector<std::string> words)
{
    Program program(std::move(words), {{"XDG_CONFIG_HOME", settings.path()}});
    const int code = program.wait();
    return {code, program.output() + program.errors()};
}

TEST(FeedURL, ShowsWhatWasStoredUnderTheFilesName)
{
    const TemporaryFolder settings;
    EXPECT_EQ(run(settings, {"feed-url", "/a/Feeder.qtz"}).output, "\n");
    EXPECT_EQ(run(settings, {"feed-url", "/a/Feeder.qtz", "https://example.org/feed?a=1&b=2"}).code, 0);
    EXPECT_EQ(run(settings, {"feed-url", "/b/Feeder.qtz"}).output, "https://example.org/feed?a=1&b=2\n");
    EXPECT_EQ(run(settings, {"feed-url", "Other.qtz"}).output, "\n");
    EXPECT_EQ(run(settings, {"feed-url", "Feeder.qtz", ""}).code, 0);
    EXPECT_EQ(run(settings, {"feed-url", "Feeder.qtz"}).output, "\n") << "back to the default feed";
    EXPECT_EQ(run(settings, {"feed-url", "/a/"}).code, 2);
    EXPECT_EQ(run(settings, {"feed-url"}).code, 2);
}

TEST(Doctor, SaysWhatIsBrokenAndWhatToDo)
{
    LocalServer server([](const LocalServer::Request& request, const LocalServer::Connection& connection) {
        connection.send(request.target == "/gone"
                ? LocalServer::answer("", {}, "404 Not Found")
                : LocalServer::answer("<rss><channel><title>Small News</title><item/></channel></rss>"));
    });
    const TemporaryFolder settings;
    // The active composition's settings, as the sheet stores them.
    std::filesystem::create_directories(settings / "vitrel");
    settings.write("vitrel/org.vitrel.Vitrel.plist",
        "<plist><dict><key>Active File Path</key><string>/x/Feeder.qtz</string></dict></plist>");
    run(settings, {"feed-url", "Feeder.qtz", server.url("/feed")});
    const auto well = run(settings, {"doctor"});
    EXPECT_THAT(well.output, ContainsRegex("feed +ok +\"Small News\", 1 articles, from http"));
    EXPECT_THAT(well.output, ContainsRegex("player +broken +there is no session bus"));
    EXPECT_EQ(well.code, 1);

    run(settings, {"feed-url", "Feeder.qtz", server.url("/gone")});
    EXPECT_THAT(run(settings, {"doctor"}).output, ContainsRegex("feed +broken .*404.*vitrel feed-url"));
}

} // namespace
} // namespace vitrel
