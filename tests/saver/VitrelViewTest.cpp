#include "saver/VitrelView.h"
#include "support/FakeFetcher.h"
#include "support/Saver.h"

#include <gmock/gmock.h>

#include <map>

namespace vitrel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre, testing::HasSubstr, testing::IsEmpty;

const OperatingSystemVersion kCompanion{10, 14, 0}, kDirect{10, 13, 6};

TEST(VitrelView, IsBuiltInOrderAndLoadsInTheNextTurn)
{
    Saver in(kDirect);
    for (const double width : {-1.0, std::nan("")})
        EXPECT_FALSE(VitrelView::initWithFrameIsPreview(in.surroundings, makeRect(0, 0, width, 5), false));
    EXPECT_EQ(in.loop.nextDue(), std::nullopt) << "no view has such a frame";
    in.composition("Muralis RSS Almanac", {});
    const auto view = in.makeView(true); // a preview is a view like any other
    ASSERT_TRUE(view && view->isPreview());
    EXPECT_EQ(view->animationTimeInterval(), 0.016666666666666666);
    EXPECT_TRUE(view->wantsLayer());
    EXPECT_THAT(in.said(), ElementsAre("1 frame 0,0 0x0", "1 rate 60", "1 autostart", "1 all events"));
    EXPECT_THAT(in.loop.pending(*view), ElementsAre("loadFile", "startAnimation", "startAnimation", "startAnimation"));
    EXPECT_EQ(view->subviews().size(), 1u);
    in.show(view);
    in.loop.turn();
    EXPECT_THAT(in.said(), ElementsAre("1 rate 60", "1 load Muralis RSS Almanac.qtz", "1 play", "1 frame 0,0 640x480"));
    EXPECT_FALSE(view->isFileLoaded());
    EXPECT_EQ(view->loadedURL(), view->urlDefaultComposition());
}

TEST(VitrelView, FillsTheWindowThatItIsIn)
{
    Saver in(kDirect);
    const auto view = in.makeView();
    const auto window = in.show(view);
    const auto content = [&] { return window->contentView()->frame(); };
    window->setFrameDisplay(makeRect(5, 6, 300, 200), true);
    window->setAlphaValue(0.5);
    in.said();
    view->loadQuartzView();
    EXPECT_EQ(window->alphaValue(), 0.5);
    EXPECT_EQ(content(), makeRect(0, 0, 300, 200));
    EXPECT_THAT(in.said(), ElementsAre("2 frame 0,0 300x200", "2 rate 60", "2 autostart", "2 all events"));
    window->setFrameDisplay(makeRect(5, 6, 30, 20), true);
    view->awakeFromNib();
    EXPECT_EQ(window->alphaValue(), 1);
    EXPECT_EQ(content(), makeRect(0, 0, 30, 20));
    EXPECT_THAT(in.said(), ElementsAre("3 frame 0,0 30x20", "3 rate 60", "3 autostart", "3 all events"));
    view->updateQuartzViewFrame();
    EXPECT_THAT(in.said(), ElementsAre("3 frame 0,0 640x480")) << "the view's bounds";
}

TEST(VitrelView, StartsTheAnimationThreeTimesAndAStopStopsNothingElse)
{
    Saver in(kCompanion);
    const auto view = in.makeView();
    EXPECT_FALSE(view->isAnimating());
    for (const Seconds step : {1s, 2s, 2s}) {
        EXPECT_TRUE(in.comesAfter(step, [&] { return view->isAnimating(); }));
        view->stopAnimation();
    }
    in.fastForwardBy(10s);
    EXPECT_FALSE(view->isAnimating());
    EXPECT_THAT(in.loop.pending(*view), ElementsAre("loop"));
}

// A loop on the direct road would ask the companion; a manager on the other would wake the player.
TEST(VitrelView, TakesOneRoadAndNotTheOther)
{
    Saver companion(kCompanion), direct(kDirect);
    const auto polled = companion.makeView(), observed = direct.makeView();
    EXPECT_EQ(polled->nqiTunesManager(), nullptr);
    EXPECT_EQ(companion.players.identifier, "") << "the player is left alone";
    EXPECT_TRUE(observed->nqiTunesManager());
    EXPECT_THAT(direct.loop.pending(*observed), testing::Not(testing::Contains("loop")));
    companion.loop.turn();
    companion.fastForwardBy(10s);
    EXPECT_THAT(companion.loop.pending(*polled), ElementsAre("loop")) << "it asks for itself anew";
}

TEST(VitrelView, StopsInOrderAndOnlyThenLetsGo)
{
    Saver in(kCompanion);
    in.activate(in.composition("Muralis RSS Almanac", {"Name", "Muralis_RSS_Feed"}));
    in.store.setValueForKey(Saver::kIdentifier, "Muralis RSS Almanac.qtz: Is RSS Visualizer", true);
    auto view = in.makeView(), other = in.makeView();
    const auto window = in.show(view);
    in.fastForwardBy(6s);
    const auto timer = view->rssFeedReloader();
    ASSERT_TRUE(timer && timer->isValid());
    view->reloadFile();
    in.said();

    const auto track = view->dataiTunes(), statistics = view->dataSystem();
    (*statistics)["CPU"] = 1;
    view->cleanup();
    EXPECT_TRUE(track->empty() && statistics->empty()) << "whoever else holds them";
    EXPECT_THAT(in.loop.pending(*view), ElementsAre("cleanupNow")) << "no tick, no reload";
    EXPECT_FALSE(timer->isValid());
    EXPECT_EQ(view->dataiTunes(), nullptr);
    EXPECT_EQ(view->dataSystem(), nullptr);
    view->setTrackDataFromPacket({{"Name", "late"}});
    view->setTrackData({});
    view->itunesDidClose();
    EXPECT_THAT(in.loop.pending(*view), ElementsAre("cleanupNow")) << "an answer that comes late";
    view->fileDidChange();
    EXPECT_THAT(in.loop.pending(*view), ElementsAre("cleanupNow")) << "a reload would bring it back to life";
    EXPECT_THAT(in.said(), IsEmpty());
    EXPECT_TRUE(in.comesAfter(0.5s, [&] { return window->alphaValue() == 0; }));
    EXPECT_FALSE(window->isClosed());
    EXPECT_THAT(in.said(), ElementsAre("1 pause", "1 no autostart"));
    EXPECT_TRUE(in.comesAfter(0.03s, [&] { return window->isClosed(); }));
    EXPECT_THAT(in.said(), ElementsAre("1 stop", "1 remove"));
    EXPECT_EQ(view->viewQuartzComposition(), nullptr);

    EXPECT_THAT(in.loop.pending(*other), ElementsAre("loop")) << "the other view goes on";
    view->removeFromSuperview();
    const std::weak_ptr<VitrelView> weak = view;
    view.reset();
    in.interactive.drain(); // a query that hadn't begun
    in.loop.turn();
    EXPECT_TRUE(weak.expired());
}

TEST(VitrelView, StopsTheLoadOfItsFeed)
{
    Saver in(kDirect);
    const auto server = std::make_shared<FakeFetcher>();
    in.surroundings.feedFetcher = server;
    in.activate(in.composition("Muralis RSS Almanac", {"Muralis_RSS_Feed"}));
    const auto view = in.makeView();
    in.fastForwardBy(6s);
    view->cleanup();
    in.feeds.drain();
    EXPECT_EQ(server->stopped, 1) << "two publications, one load";
    EXPECT_THAT(server->asked, IsEmpty());
}

TEST(VitrelView, LeavesThePlayersManagerWhenItStops)
{
    Saver in(kDirect);
    auto view = in.makeView(), other = in.makeView();
    view->cleanup();
    ASSERT_EQ(other->nqiTunesManager()->observers().size(), 1u);
    in.fastForwardBy(1s);
    const std::weak_ptr<VitrelView> weak = view;
    view.reset();
    EXPECT_TRUE(weak.expired());
}

TEST(VitrelView, TheSheetIsMadeAnewAndItsCloseReloads)
{
    Saver in(kDirect);
    in.composition("Muralis RSS Almanac", {});
    const auto view = in.makeView();
    EXPECT_TRUE(view->hasConfigureSheet());
    const auto first = view->configureSheet(), second = view->configureSheet();
    EXPECT_NE(first, second);
    EXPECT_EQ(view->preferencesWC()->window(), second);
    EXPECT_EQ(second->delegate(), view);
    in.fastForwardBy(1s);
    in.said();
    view->windowWillClose({});
    EXPECT_EQ(second->delegate(), nullptr);
    EXPECT_EQ(view->preferencesWC(), nullptr);
    in.fastForwardBy(1s);
    EXPECT_THAT(in.said(), testing::Contains("2 load Muralis RSS Almanac.qtz"));

    // Closed by its own button the controller goes while the button's action runs.
    view->configureSheet();
    in.fastForwardBy(1s); // nothing of its own holds it
    const std::weak_ptr<PreferencesWC> weak = view->preferencesWC();
    view->preferencesWC().get()->buttonOK();
    EXPECT_TRUE(weak.expired());
    in.fastForwardBy(1s);
    EXPECT_THAT(in.said(), testing::Contains("3 load Muralis RSS Almanac.qtz"));
}

TEST(Loading, ChoosesThePathByTheListAndFallsBackToTheResources)
{
    // Of the bundles the saver's own is S and the program's P, of the compositions there the Almanac A, the Still S.
    const std::map<std::string, std::string> names{{"A", "Muralis RSS Almanac.qtz"}, {"S", "Muralis Cover Still.qtz"}};
    const Value some(Array{"/x.qtz"}), none(Array{});
    // The list, the active path, what lies in either bundle; then the path that is taken and the one by default.
    using Names = std::vector<std::string>;
    const std::tuple<const char*, Value, Value, Names, Names, std::string, std::string> cases[] = {
        {"the stored path, which needn't be in the list", some, "/a.qtz", {"A"}, {"A"}, "/a.qtz", "saver A"},
        {"but the list must have entries", none, "/a.qtz", {"A"}, {}, "saver A", "saver A"},
        {"no list", {}, "/a.qtz", {"A"}, {}, "saver A", "saver A"},
        {"a list that is none", "text", "/a.qtz", {"A"}, {}, "saver A", "saver A"},
        {"an empty path", some, "", {"S"}, {}, "saver S", ""},
        {"a path that is no text", some, 5, {"S"}, {}, "saver S", ""},
        {"the saver's before the program's", {}, {}, {"S", "A"}, {"S", "A"}, "saver A", "saver A"},
        {"the program's Almanac before the saver's Still", {}, {}, {"S"}, {"S", "A"}, "program A", "program A"},
        {"the saver's Still before the program's", {}, {}, {"S"}, {"S"}, "saver S", ""},
        {"the program's Still last", {}, {}, {}, {"S"}, "program S", ""},
        {"nothing at all", {}, {}, {}, {}, "", ""},
    };
    for (const auto& [why, list, active, saver, other, expected, byDefault] : cases) {
        Saver in(kDirect);
        const TemporaryFolder programFolder;
        const NSBundle program(programFolder.path());
        in.surroundings.mainBundle = &program;
        in.store.setValueForKey(Saver::kIdentifier, "Files Paths", list);
        in.store.setValueForKey(Saver::kIdentifier, "Active File Path", active);
        for (const auto& name : saver)
            in.bundleFolder.write(names.at(name), "");
        for (const auto& name : other)
            programFolder.write(names.at(name), "");
        const auto path = [&](const std::string& said) {
            return said.starts_with("saver ")  ? in.bundleFolder / names.at(said.substr(6))
                : said.starts_with("program ") ? programFolder / names.at(said.substr(8))
                                               : said;
        };
        const auto view = in.makeView();
        EXPECT_EQ(view->filePathActive().value_or(""), path(expected)) << why;
        const auto url = view->urlDefaultComposition();
        EXPECT_EQ(url ? url->path() : "", path(byDefault)) << why;
        in.loop.turn();
        EXPECT_FALSE(expected.empty() && (view->isFileLoaded() || view->loadedURL() || !in.log.empty())) << why;
    }
}

TEST(Loading, PicksAtRandomOnlyFromTwoUpAndStoresThePick)
{
    const std::tuple<bool, Array, std::uint32_t, Value> cases[]
        = {{true, {"/a", "/b", "/c"}, 4, "/b"}, {true, {"/a"}, 0, "/old"}, {false, {"/a", "/b"}, 1, "/old"}};
    for (const auto& [random, list, number, active] : cases) {
        Saver in(kDirect);
        in.store.setValueForKey(Saver::kIdentifier, "Use Random Screen Saver", random);
        in.store.setValueForKey(Saver::kIdentifier, "Files Paths", Value(list));
        in.store.setValueForKey(Saver::kIdentifier, "Active File Path", "/old");
        in.surroundings.arc4random = [number = number] { return number; };
        const auto view = in.makeView();
        EXPECT_EQ(in.store.valueForKey(Saver::kIdentifier, "Active File Path"), active) << number;
        in.store.setValueForKey(Saver::kIdentifier, "Active File Path", "/now");
        view->reloadFile();
        in.fastForwardBy(1s);
        EXPECT_EQ(in.store.valueForKey(Saver::kIdentifier, "Active File Path"), Value("/now")) << "never on a reload";
    }
}

TEST(Loading, GoesByTheBookmarkAndThenToTheDefault)
{
    for (const OperatingSystemVersion version : {kDirect, kCompanion}) {
        Saver in(version);
        const std::string usual = in.composition("Muralis RSS Almanac", {"Name"});
        TemporaryFolder folder;
        const std::string path = folder.write("One.qtz", "1"), renamed = folder / "Two.qtz";
        in.activate(path);
        in.store.setValueForKey("host", path, *NSURL::fileURLWithPath(path).bookmarkData());
        std::filesystem::rename(path, renamed);
        in.composer.files[renamed] = {"Limit_Mbits_Out"};
        const auto view = in.makeView();
        in.said();
        in.loop.turn();
        if (version == kDirect) {
            EXPECT_THAT(in.said(),
                ElementsAre("1 rate 60", "1 load One.qtz fails", "1 rate 60", "1 load Two.qtz", "1 start",
                    "1 frame 0,0 640x480"));
        } else {
            EXPECT_THAT(in.said(),
                ElementsAre("1 rate 60", "1 load One.qtz fails", "1 unload", "1 remove", "2 frame 0,0 0x0",
                    "2 frame 0,0 640x480", "2 rate 60", "2 autostart", "2 all events", "2 rate 60", "2 load Two.qtz",
                    "2 start", "2 frame 0,0 640x480"));
        }
        EXPECT_TRUE(view->isFileLoaded());
        EXPECT_EQ(view->loadedURL()->path(), renamed);
        EXPECT_EQ(view->subviews().size(), 1u);
        EXPECT_THAT(in.log, IsEmpty());
        view->loadFile();
        EXPECT_THAT(in.said(), IsEmpty()) << "it is loaded";

        std::filesystem::remove(renamed);
        view->reloadFile();
        in.fastForwardBy(0.3s);
        EXPECT_EQ(view->loadedURL()->path(), usual);
        EXPECT_THAT(in.log, ElementsAre(HasSubstr("Qnq Sandbox failure Error Domain=")));
    }
}

TEST(Loading, ReloadsInThreeStepsWithoutAViewInBetween)
{
    Saver in(kDirect);
    in.composition("Muralis RSS Almanac", {"Name"});
    const auto view = in.makeView();
    in.show(view);
    in.fastForwardBy(6s);
    in.said();
    view->fileDidChange();
    EXPECT_THAT(in.said(), ElementsAre("1 pause", "1 no autostart"));
    const auto speaks = [&] { return !in.composer.log.empty(); };
    EXPECT_TRUE(in.comesAfter(0.03s, speaks));
    EXPECT_THAT(in.said(), ElementsAre("1 stop", "1 remove"));
    EXPECT_EQ(view->viewQuartzComposition(), nullptr);
    view->setQuartzCompositionValue("x", "Name");
    EXPECT_TRUE(in.comesAfter(0.1s, speaks));
    EXPECT_THAT(in.said(), ElementsAre("2 frame 0,0 640x480", "2 rate 60", "2 autostart", "2 all events"));
    EXPECT_THAT(view->subviews(), IsEmpty()) << "loadFile adds it";
    EXPECT_TRUE(in.comesAfter(0.1s, speaks));
    EXPECT_THAT(in.said(), ElementsAre("2 rate 60", "2 load Muralis RSS Almanac.qtz", "2 play", "2 frame 0,0 640x480"));
    EXPECT_EQ(view->subviews().size(), 1u);
}

// Two chains side by side leave a view of the first behind in the window.
TEST(Loading, ASecondReloadRestartsTheChainWhereverTheFirstStands)
{
    for (const double after : {0.0, 0.02, 0.05, 0.12, 0.15, 0.22}) {
        Saver in(kDirect);
        in.composition("Muralis RSS Almanac", {"Name"});
        const auto view = in.makeView();
        in.fastForwardBy(6s);
        in.said();
        view->reloadFile();
        in.fastForwardBy(Seconds(after));
        view->reloadFile();
        in.fastForwardBy(0.22s);
        EXPECT_THAT(in.composer.log, testing::Not(testing::Contains(HasSubstr("load")))) << after;
        in.fastForwardBy(0.1s);
        EXPECT_THAT(in.said(), testing::Contains(HasSubstr("load")).Times(1)) << after;
        EXPECT_EQ(view->subviews().size(), 1u) << after;
        EXPECT_EQ(view->subviews().front(), view->viewQuartzComposition()) << after;
    }
}

} // namespace
} // namespace vitrel
