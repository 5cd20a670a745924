// The road from the companion to the composition, with the whole view on it.
#include "support/FakeURLSession.h"
#include "support/Saver.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

using namespace std::chrono_literals;

const OperatingSystemVersion kCompanion{10, 14, 0};

struct Polling : Saver {
    FakeURLSession session;

    Polling()
        : Saver(kCompanion)
    {
        surroundings.urlSession = &session;
        composition("Muralis RSS Almanac", {"Name"});
    }
    ~Polling() { session.invalidateAndCancel(); }

    std::string display() const
    {
        const std::string& url = session.requests.at(0).url;
        const auto from = url.find("?screen=") + 8;
        return url.substr(from, url.find('&') - from);
    }
};

TEST(Companion, ATrackReachesTheCompositionAndIsWrittenTwice)
{
    Polling in;
    const auto view = in.makeView();
    in.fastForwardBy(0.01s);
    in.interactive.drain();
    const auto other = in.makeView(); // of another display, which polls for itself
    in.session.answer(R"({"ChangeID": "A"})");
    in.fastForwardBy(0.01s);
    ASSERT_EQ(in.session.requests.size(), 1u);
    EXPECT_EQ(other->lastStateID(), std::nullopt);
    EXPECT_NE(in.session.requests[0].url.find("/music/Data?screen=&s="), std::string::npos);
    const auto written = [&] { return std::exchange(Saver::recording(*view).writes, {}); };
    const std::pair<std::string, Value> song{"Name", "Song"};
    written();
    in.session.answer(R"({"Data": {"Name": "Song"}})");
    in.fastForwardBy(0.01s);
    EXPECT_THAT(written(), testing::ElementsAre(song));
    in.fastForwardBy(1s);
    EXPECT_THAT(written(), testing::ElementsAre(song));
    EXPECT_EQ(view->lastStateID(), "A");
}

TEST(Companion, IsAskedTwiceASecondForTheDisplayThatTheViewIsOn)
{
    Polling in;
    const auto view = in.makeView();
    const auto window = in.show(view);
    in.interactive.drain();
    EXPECT_EQ(in.display(), "") << "no window when the first query was asked for";
    for (const auto& [number, display] : std::vector<std::pair<Value, const char*>>{
             {Value(), ""}, {4294967295, "4294967295"}, {"text", ""}, {12, "12"}}) {
        NSScreen screen;
        screen.deviceDescription["NSScreenNumber"] = number;
        in.session.answer("{}");
        window->setScreen(number == Value() ? nullptr : std::make_shared<const NSScreen>(screen));
        EXPECT_TRUE(in.comesAfter(0.5s, [&] { return in.interactive.drain(), in.session.requests.size() == 1; }));
        ASSERT_EQ(in.session.requests.size(), 1u);
        EXPECT_EQ(in.display(), display);
    }
    EXPECT_EQ(in.session.sent, 5);
}

} // namespace
} // namespace vitrel
