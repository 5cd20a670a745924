// feed-url, xscreensaver and doctor: what a user sees of the settings and of what they lead to.
#include "Program.h"
#include "base/Text.h"
#include "support/LocalServer.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::StartsWith;

struct Ran {
    int code = 0;
    std::string output;
};

Ran run(const TemporaryFolder& settings, std::vector<std::string> words)
{
    Program program(std::move(words), {{"XDG_CONFIG_HOME", settings.path()}, {"XDG_DATA_HOME", settings / "data"}});
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

constexpr const char* kOptions = R"({"inputs": {"Size": "S.input", "Way": "W.input", "Calm": "B._enable",
    "Tint": "C.inputColor", "Words": "T.inputString", "Name": "N.inputString", "Cover": "B.inputImage", "A=b": "Q.input"},
  "values": {"Size": 1, "Words": "Hi"},
  "options": {"Size": {"min": 0.5, "max": 2}, "Way": {"labels": ["Slow", "-", "Fast"]}},
  "patches": {"C": {"class": "QCClear", "inputs": {"inputColor": "#000000"}}, "T": {"class": "QCTextImage"},
    "N": {"class": "QCTextImage"}, "B": {"class": "QCBillboard"},
    "S": {"class": "QCSplitter", "settings": {"portClass": "QCNumberPort"}},
    "Q": {"class": "QCSplitter", "settings": {"portClass": "QCNumberPort"}},
    "W": {"class": "QCSplitter", "settings": {"portClass": "QCIndexPort"}}}})";

TEST(Options, AreListedStoredAndTakenBackByKey)
{
    const TemporaryFolder settings, files;
    const std::string file = files.write("Clock.json", kOptions);
    const auto said = [&](std::vector<std::string> words, int code = 0) {
        words.insert(words.begin(), {"options", file});
        const auto ran = run(settings, words);
        EXPECT_EQ(ran.code, code) << ran.output;
        return ran.output;
    };
    const std::string own = "Size\tnumber\t1\nWay\tindex\t0\nCalm\tboolean\ttrue\nTint\tcolor\t#000000ff\n"
                            "Words\tstring\tHi\nA=b\tnumber\t0\n";
    EXPECT_EQ(said({}), own) << "what the saver feeds and pictures aren't among them";
    EXPECT_EQ(said({"Size=1.25", "Way=Fast", "Calm=false", "Tint=#ff800080", "A=b=7"}), "");
    EXPECT_EQ(said({"Words=1.50"}), "");
    EXPECT_EQ(said({"Words", "A=b", "Size"}), "Words\tstring\t1.50\nA=b\tnumber\t7\nSize\tnumber\t1.25\n");
    EXPECT_EQ(said({}),
        "Size\tnumber\t1.25\nWay\tindex\t1\nCalm\tboolean\tfalse\nTint\tcolor\t#ff800080\nWords\tstring\t1.50\n"
        "A=b\tnumber\t7\n");
    EXPECT_EQ(said({"Tint=[0.1, 0, 0]", "Words=\"a\\tb\"", "Size=9"}), "");
    EXPECT_EQ(
        said({"Tint", "Words", "Size"}), "Tint\tcolor\t[0.1,0.0,0.0,1.0]\nWords\tstring\t\"a\\tb\"\nSize\tnumber\t2\n");
    const std::string store = settings / "vitrel/org.vitrel.Vitrel.plist", stored = TemporaryFolder::read(store);
    for (const char* bad :
        {"Size=wide", "Calm=maybe", "Tint=red", "Way=Medium", "Gone=1", "Name=x", "Cover=x", "size"}) {
        EXPECT_THAT(said({"Size=1", bad}, 1), ContainsRegex("^vitrel: [^\n]*\n$")) << bad;
        EXPECT_EQ(TemporaryFolder::read(store), stored) << bad;
    }
    // By the file's name, whatever the file has become.
    files.write("Clock.json", R"({"inputs": {"Size": "C.inputColor"}, "patches": {"C": {"class": "QCClear"}}})");
    EXPECT_EQ(said({}), "Size\tcolor\t#00000000\n") << "a number is no colour";
    files.write("Clock.json", kOptions);
    EXPECT_EQ(said({"Size=", "Way=", "Calm=", "Tint=", "Words=", "A=b="}), "");
    EXPECT_EQ(said({}), own);
    EXPECT_EQ(run(settings, {"options", files / "none.qtz"}).code, 1);
    EXPECT_EQ(run(settings, {"options", "muralis rss almanac"}).code, 0) << "what comes along, by its name";
    EXPECT_EQ(run(settings, {"options"}).code, 2);
}

// Of two that store at once one would lose what the other has just written.
TEST(Options, OfTwoProcessesThatStoreAtOnceNothingIsLost)
{
    constexpr int kMany = 12;
    const TemporaryFolder settings, files;
    std::string inputs, patches;
    for (int k = 0; k < 2 * kMany; ++k) {
        const std::string n = std::to_string(k), comma = k ? ", " : "";
        inputs += comma + "\"K" + n + "\": \"S" + n + ".input\"";
        patches += comma + "\"S" + n + R"(": {"class": "QCSplitter", "settings": {"portClass": "QCNumberPort"}})";
    }
    const std::string file = files.write("Many.json", "{\"inputs\": {" + inputs + "}, \"patches\": {" + patches + "}}");
    std::string expected;
    for (int k = 0; k < kMany; ++k) {
        const auto storing = [&](int key) {
            return std::make_unique<Program>(
                std::vector<std::string>{"options", file, "K" + std::to_string(key) + "=" + std::to_string(key + 1)},
                Program::Environment{{"XDG_CONFIG_HOME", settings.path()}});
        };
        const auto one = storing(2 * k), other = storing(2 * k + 1);
        EXPECT_EQ(one->wait(), 0);
        EXPECT_EQ(other->wait(), 0);
        for (const int key : {2 * k, 2 * k + 1})
            expected += "K" + std::to_string(key) + "\tnumber\t" + std::to_string(key + 1) + "\n";
    }
    EXPECT_EQ(run(settings, {"options", file}).output, expected);
}

// Who plays a composition shows them from the first frame on, a demonstration or a replay never; --input goes first.
TEST(Options, CountWhereverTheCompositionPlays)
{
    const TemporaryFolder settings, files;
    const std::string file = files.write("Clock.json", kOptions), trace = files / "trace";
    EXPECT_EQ(run(settings, {"options", file, "Size=1.5", "Words=Mine"}).code, 0);
    const auto traced = [&](std::vector<std::string> more) {
        std::vector<std::string> words{"snapshot", "-o", files / "a.png", "--size", "64x36", "--after", "0.3", file};
        words.insert(words.end(), more.begin(), more.end());
        EXPECT_EQ(run(settings, words).code, 0);
        return TemporaryFolder::read(trace);
    };
    const std::string both = traced({"--trace", trace, "--input", "Words=Given"});
    EXPECT_THAT(both, HasSubstr(R"({"t":0.0,"view":0,"key":"Size","value":1.5)"));
    EXPECT_LT(both.find("\"Size\""), both.find("\"Name\"")) << "ahead of live data";
    EXPECT_THAT(both, HasSubstr("Given"));
    EXPECT_THAT(both, testing::Not(HasSubstr("Mine")));
    EXPECT_THAT(traced({"--trace", trace, "--demo"}), testing::Not(HasSubstr("\"Size\"")));
    EXPECT_EQ(run(settings, {"film", "--seconds", "0.1", "--size", "32x18", file, files / "with.y4m"}).code, 0);
    EXPECT_EQ(run(settings, {"options", file, "Tint=#ffffff"}).code, 0);
    EXPECT_EQ(run(settings, {"film", "--seconds", "0.1", "--size", "32x18", file, files / "white.y4m"}).code, 0);
    EXPECT_NE(TemporaryFolder::read(files / "with.y4m"), TemporaryFolder::read(files / "white.y4m"));
}

// A user's first evening would be a clock without news, and what a command line says would be everybody's from then on.
TEST(FirstStart, ShowsNewsAndAFileOnTheCommandLineIsNobodysChoice)
{
    const TemporaryFolder settings, files;
    const std::string feed = files.write("feed.xml", "<rss><channel><title>Small News</title><item/></channel></rss>");
    EXPECT_EQ(run(settings, {"feed-url", "Muralis RSS Almanac.qtz", "file://" + feed}).code, 0);
    const std::string list = settings / "vitrel/org.vitrel.Vitrel.plist", stored = TemporaryFolder::read(list);
    const auto snapshot = [&](std::vector<std::string> more) {
        const std::vector<std::string> words{
            "snapshot", "-o", "/dev/null", "--size", "64x36", "--after", "1", "--trace", files / "trace"};
        more.insert(more.begin(), words.begin(), words.end());
        const auto ran = run(settings, more);
        EXPECT_EQ(ran.code, 0) << ran.output;
        EXPECT_EQ(ran.output, "");
        return TemporaryFolder::read(files / "trace");
    };
    const std::string feeder = files.write("Feeder.json",
        R"({"inputs": {"Muralis_RSS_Feed": "S.input"}, "patches": {"S": {"class": "QCSplitter"}, "C": {"class": "QCClear"}}})");
    EXPECT_EQ(run(settings, {"compositions", "list"}).output, "");
    EXPECT_THAT(snapshot({feeder}), HasSubstr("Muralis_RSS_Feed"));
    EXPECT_EQ(TemporaryFolder::read(list), stored) << "the file is for this time alone";
    EXPECT_THAT(snapshot({}), HasSubstr("Small News")) << "the composition that comes along has its feed";

    const std::string other = files.write("Other.qtz", TemporaryFolder::read(feeder));
    EXPECT_EQ(run(settings, {"compositions", "add", other, feeder}).output, "") << "all is well";
    EXPECT_THAT(run(settings, {"compositions", "--verbose", "add", other}).output, HasSubstr("error"));
    EXPECT_EQ(run(settings, {"compositions", "list"}).output, "* " + other + "\n  " + feeder + "\n* " + other + "\n");
    EXPECT_EQ(run(settings, {"compositions", "use", feeder}).code, 0);
    EXPECT_EQ(run(settings, {"compositions", "list"}).output, "  " + other + "\n* " + feeder + "\n  " + other + "\n");
    EXPECT_EQ(run(settings, {"compositions", "remove", feeder}).code, 0);
    EXPECT_EQ(run(settings, {"compositions", "list"}).output, "* " + other + "\n* " + other + "\n")
        << "what stood behind it";
    EXPECT_EQ(run(settings, {"compositions", "remove", other}).code, 0);
    EXPECT_EQ(run(settings, {"compositions", "list"}).output, "");
    EXPECT_EQ(run(settings, {"compositions", "use", feeder}).code, 1) << "it isn't in the list any more";
    for (const std::string& none : {files / "none.qtz", files.write("x.json", "{}"), files.write("x.txt", "")})
        EXPECT_EQ(run(settings, {"compositions", "add", none}).code, 1) << none;
    // A folder stands for what is in it; what the list has isn't added again.
    const std::string deep = files.write("more/deep/Z.qtz", "");
    files.write("more/a.txt", "");
    EXPECT_EQ(run(settings, {"compositions", "add", files / "more"}).output, "");
    EXPECT_EQ(run(settings, {"compositions", "add", files / "more/"}).output, "");
    EXPECT_EQ(run(settings, {"compositions", "list"}).output, "* " + deep + "\n");
    const auto zip
        = decodeBase64("UEsDBBQAAAAAAAAAIQBXEbIXDgAAAA4AAAAIAAAARC9ELmpzb257InBhdGNoZXMiOnt9fVBLAQIUAxQAAAAAAAAA"
                       "IQBXEbIXDgAAAA4AAAAIAAAAAAAAAAAAAACAAQAAAABEL0QuanNvblBLBQYAAAAAAQABADYAAAA0AAAAAAA=");
    EXPECT_EQ(run(settings, {"compositions", "add", files.write("Dawn.zip", textOf(*zip))}).output, "");
    const std::string unpacked = settings / "data/vitrel/compositions/Dawn/D/D.json";
    EXPECT_EQ(run(settings, {"compositions", "list"}).output, "  " + deep + "\n* " + unpacked + "\n");
    EXPECT_EQ(run(settings, {"compositions", "remove", unpacked}).code, 0);
    const auto mixed = run(settings, {"compositions", "add", files / "more", files.write("x.zip", "PK")});
    EXPECT_EQ(mixed.code, 1);
    EXPECT_EQ(mixed.output, "vitrel: " + (files / "x.zip") + ": it is no ZIP archive\n");
    EXPECT_EQ(run(settings, {"compositions", "random", "on"}).code, 0);
    EXPECT_THAT(TemporaryFolder::read(list), ContainsRegex("Use Random Screen Saver</key>[\n\t]*<true/>"));
    EXPECT_EQ(run(settings, {"compositions", "random", "off"}).code, 0);
    EXPECT_THAT(TemporaryFolder::read(list), ContainsRegex("Use Random Screen Saver</key>[\n\t]*<false/>"));
}

// What a user has written is lost, or the program's own path isn't what the daemon is told to start.
TEST(XScreenSaver, ListIsChangedOnlyWhereItIsUnderstood)
{
    const TemporaryFolder folder;
    const auto inFile = [&](const char* step) { return run(folder, {"xscreensaver", step, "--file", folder / "f"}); };
    EXPECT_EQ(inFile("status").code, 1);
    EXPECT_EQ(inFile("remove").code, 0) << "nothing to do";
    EXPECT_EQ(inFile("add").code, 0);
    EXPECT_EQ(inFile("status").code, 0);
    const std::string added = TemporaryFolder::read(folder / "f");
    EXPECT_THAT(added, HasSubstr("\"Vitrel\"  " VITREL_PROGRAM " --root"));
    EXPECT_EQ(inFile("add").code, 0);
    EXPECT_EQ(TemporaryFolder::read(folder / "f"), added);
    EXPECT_EQ(inFile("remove").code, 0);
    EXPECT_FALSE(std::filesystem::exists(folder / "f")) << "it held nothing else";

    folder.write("f", "mode: one\nprograms: a\\n-vitrel\n");
    EXPECT_THAT(inFile("status").output, HasSubstr("switched off"));
    EXPECT_EQ(inFile("remove").code, 0);
    EXPECT_EQ(TemporaryFolder::read(folder / "f"), "mode: one\nprograms: a\n");

    folder.write("f", "nonsense");
    for (const char* step : {"status", "add", "remove"}) {
        const auto ran = inFile(step);
        EXPECT_EQ(ran.code, 1) << step;
        EXPECT_THAT(ran.output, ContainsRegex("^vitrel: can't understand .*leaves it alone: line 1 is no setting\n$"));
    }
    EXPECT_EQ(TemporaryFolder::read(folder / "f"), "nonsense");
    EXPECT_EQ(run(folder, {"xscreensaver"}).code, 2);
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
    EXPECT_THAT(well.output, ContainsRegex("\nsound +(ok|-) +[A-Z\"]")) << "by what this machine has";
    EXPECT_EQ(well.code, 1);

    run(settings, {"feed-url", "Feeder.qtz", server.url("/gone")});
    EXPECT_THAT(run(settings, {"doctor"}).output, ContainsRegex("feed +broken .*404.*vitrel feed-url"));
}

// What comes along is chosen by name, without a list, and then plays.
TEST(BuiltIn, IsChosenByNameAndPlaysThoughNothingIsListed)
{
    const TemporaryFolder settings, files;
    const auto marked = [&] { return run(settings, {"compositions", "built-in"}).output; };
    EXPECT_THAT(marked(), AllOf(StartsWith("* Almanac\n"), HasSubstr("\n  Cover Still\n")));
    const auto hasFeed = [&] {
        const auto ran = run(
            settings, {"snapshot", "-o", "/dev/null", "--size", "64x36", "--after", "0.5", "--trace", files / "trace"});
        EXPECT_EQ(ran.code, 0) << ran.output;
        return TemporaryFolder::read(files / "trace").find("Muralis_RSS_Feed") != std::string::npos;
    };
    EXPECT_TRUE(hasFeed());
    EXPECT_EQ(run(settings, {"compositions", "use", "cover still"}).code, 0);
    EXPECT_THAT(marked(), AllOf(StartsWith("  Almanac\n"), HasSubstr("\n* Cover Still\n")));
    EXPECT_FALSE(hasFeed());
    EXPECT_EQ(run(settings, {"compositions", "list"}).output, "") << "it is in nobody's list";
    EXPECT_EQ(run(settings, {"compositions", "remove", "Cover Still"}).code, 1);
    EXPECT_EQ(run(settings, {"compositions", "use", "No Such"}).code, 1);
    EXPECT_EQ(run(settings, {"feed-url", "Cover Still", "file:///f"}).code, 0);
    EXPECT_EQ(run(settings, {"feed-url", "/a/Muralis Cover Still.qtz"}).output, "file:///f\n");
    EXPECT_THAT(marked(), HasSubstr("* Cover Still\n"));
}

} // namespace
} // namespace vitrel
