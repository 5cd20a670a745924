#include "preferences/Settings.h"
#include "platform/screensaver/ScreenSaverDefaults.h"
#include "preferences/BuiltInCompositions.h"
#include "preferences/InitialChoice.h"
#include "preferences/StartSettings.h"
#include "support/TestSurroundings.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

using Key = VitrelItem::Key;

struct Saver : TestSurroundings {
    Settings& settings() { return Settings::shared(surroundings); }
    VitrelItem item(const std::string& name) { return VitrelItem(surroundings, name); }
    std::optional<Value> stored(const std::string& key) { return store.valueForKey(kIdentifier, key); }
};

TEST(Settings, NameTheActiveCompositionByItsFile)
{
    Saver in;
    EXPECT_FALSE(in.settings().selectedVitrelItem()) << "nothing is stored";
    const std::pair<Value, std::optional<std::string>> cases[]
        = {{"/Users/a/Aurora.qtz", "Aurora.qtz"}, {"/gone/X.qtz", "X.qtz"}, {"", ""}, {7, std::nullopt}};
    for (const auto& [path, filename] : cases) {
        in.store.setValueForKey(Saver::kIdentifier, "Active File Path", path);
        const auto item = in.settings().selectedVitrelItem();
        ASSERT_EQ(item.has_value(), filename.has_value()) << description(path);
        if (item) {
            EXPECT_EQ(item->filename(), *filename);
        }
    }
    in.surroundings.classBundle = nullptr; // a plain domain where there is no identifier
    in.settings().screenSaverDefaults()->setObjectForKey(1, "key");
    EXPECT_EQ(in.settings().screenSaverDefaults()->objectForKey("key"), Value(1));
    EXPECT_EQ(in.stored("key"), std::nullopt);
}

TEST(VitrelItem, StoresUnderTheFilesNameColonBlankAndTheKey)
{
    Saver in;
    auto item = in.item("Aurora.qtz");
    item.setRssFeedURL("http://example.org/feed");
    item.setIsRSSVisualizer(true);
    EXPECT_EQ(in.stored("Aurora.qtz: RSS URL"), Value("http://example.org/feed"));
    EXPECT_EQ(in.stored("Aurora.qtz: Is RSS Visualizer"), Value(true));
    EXPECT_EQ(in.item("Aurora.qtz").rssFeedURL(), "http://example.org/feed") << "whatever folder it lies in";
    EXPECT_EQ(in.item("Other.qtz").rssFeedURL(), std::nullopt);
    // Absent is not false.
    const std::pair<Value, std::optional<bool>> cases[] = {{true, true}, {false, false}, {1, true}, {0, false},
        {2, std::nullopt}, {"true", std::nullopt}, {Value(), std::nullopt}};
    for (const auto& [value, flag] : cases) {
        item.setData(value, Key::isRSSVisualizer);
        EXPECT_EQ(item.boolForKey(Key::isRSSVisualizer), flag) << description(value);
        EXPECT_EQ(item.isRSSVisualizer(), flag.value_or(false));
    }
    EXPECT_EQ(in.stored("Aurora.qtz: Is RSS Visualizer"), std::nullopt) << "nothing removes the key";
    item.setRssFeedURL(std::nullopt);
    EXPECT_EQ(item.rssFeedURL(), std::nullopt);
}

// What another process has set is lost, or what is no dictionary ends a program.
TEST(VitrelItem, ChangesOptionsAndKeepsTheOthers)
{
    Saver in;
    auto item = in.item("Aurora.qtz");
    for (const Value& garbage : {Value(7), Value(Array{1}), Value("x")}) {
        item.setData(garbage, Key::options);
        EXPECT_EQ(item.options(), Dictionary());
    }
    item.changeOptions({{"Size", 2.0}, {"Calm", true}});
    const Value tint = Array{1.0, 0.0, 0.5, 1.0};
    in.item("Aurora.qtz").changeOptions({{"Tint", tint}, {"Size", 3.0}});
    EXPECT_EQ(in.stored("Aurora.qtz: Options"), Value(Dictionary{{"Size", 3.0}, {"Calm", true}, {"Tint", tint}}));
    EXPECT_EQ(in.item("Other.qtz").options(), Dictionary());
    item.changeOptions({{"Size", Value()}, {"Gone", Value()}});
    EXPECT_EQ(item.options(), (Dictionary{{"Calm", true}, {"Tint", tint}}));
    item.changeOptions({{"Calm", Value()}, {"Tint", Value()}});
    EXPECT_EQ(in.stored("Aurora.qtz: Options"), std::nullopt) << "nothing is left behind";
}

// What comes along is the choice of who has made none, and nothing of that is stored.
TEST(InitialChoice, HoldsUntilTheUserHasChosen)
{
    Saver in;
    const auto key = [&](const char* name) { return in.stored(name); };
    setInitialChoice(in.surroundings, true);
    EXPECT_EQ(key("Active File Path"), std::nullopt) << "without such a composition";
    const std::string path = in.bundleFolder.write("Muralis RSS Almanac.qtz", "");
    setInitialChoice(in.surroundings, false);
    EXPECT_EQ(key("Active File Path"), Value(path));
    EXPECT_EQ(key("Muralis RSS Almanac.qtz: Is RSS Visualizer"), Value(true));
    EXPECT_EQ(key("Files Paths"), std::nullopt);
    EXPECT_TRUE(in.store.dictionaryForDomain(Saver::kIdentifier).empty());
    in.settings().screenSaverDefaults()->setObjectForKey("/mine.qtz", "Active File Path");
    EXPECT_EQ(key("Active File Path"), Value("/mine.qtz"));
}

// A stored path counts while the list has entries; one that comes along counts without a list, for the window as for
// who plays.
TEST(BuiltInCompositions, AreInForceWithoutBeingListed)
{
    Saver in;
    const std::string almanac = in.bundleFolder.write("Muralis RSS Almanac.qtz", ""),
                      vinyl = in.bundleFolder.write("Vinyl.qtz", "");
    const std::tuple<Value, const char*, std::string, std::optional<Value>, const char*> cases[] = {
        {Value(), "", almanac, Array{almanac}, "nothing is chosen"},
        {Array{}, "/mine.qtz", almanac, std::nullopt, "one's own that isn't listed"},
        {Array{}, vinyl.c_str(), vinyl, Array{vinyl}, "one that comes along"},
        {Array{"/mine.qtz"}, vinyl.c_str(), vinyl, Array{"/mine.qtz"}, "and beside a list"},
        {Array{}, "/gone/share/vitrel/Vinyl.qtz", vinyl, Array{vinyl}, "one of an installation that has gone"},
        {Array{"/mine.qtz"}, "/gone/Vinyl.qtz", "/gone/Vinyl.qtz", Array{"/mine.qtz"}, "no installation's"},
        {Array{"/mine.qtz"}, "/other.qtz", "/other.qtz", Array{"/mine.qtz"}, "any path beside a list"},
        {Array{"/mine.qtz"}, "", almanac, Array{"/mine.qtz"}, "nothing is chosen, beside a list"},
    };
    for (const auto& [list, active, inForce, played, why] : cases) {
        in.store.setValueForKey(Saver::kIdentifier, "Files Paths", list);
        in.store.setValueForKey(Saver::kIdentifier, "Active File Path", active);
        setInitialChoice(in.surroundings, true);
        EXPECT_EQ(compositionInForce(in.surroundings, BuiltInCompositions(in.surroundings)), inForce) << why;
        const auto listed = in.stored("Files Paths");
        EXPECT_EQ(listed && *listed == Value(Array{}) ? std::nullopt : listed, played) << why;
    }
}

TEST(BuiltInCompositions, HaveTheGallerysOrderAndAreFoundByName)
{
    Saver in;
    EXPECT_TRUE(BuiltInCompositions(in.surroundings).all().empty());
    for (const char* name : {"Zebra", "Muralis Cover Still", "Tide", "Apple", "Muralis RSS Almanac", "Vinyl"})
        in.bundleFolder.write(name + std::string(".qtz"), "");
    in.bundleFolder.write("Vinyl.json", "");
    in.bundleFolder.write("folder.qtz/x", "");
    const std::string picture = in.bundleFolder.write("pictures/Vinyl.jpg", "");
    const BuiltInCompositions all(in.surroundings);
    std::string names;
    for (const auto& one : all.all())
        names += one.name + (one.picture.empty() ? " " : "+ ");
    EXPECT_EQ(names, "Almanac Vinyl+ Tide Cover Still Apple Zebra ");
    EXPECT_EQ(all.find("vinyl")->picture, picture);
    const std::pair<const char*, const char*> cases[] = {{"COVER still", "Cover Still"}, {"Vinyl.qtz", "Vinyl"},
        {"Muralis Cover Still", "Cover Still"}, {"Vin", nullptr}, {"", nullptr}, {".qtz", nullptr}};
    for (const auto& [name, found] : cases) {
        const auto* one = all.find(name);
        EXPECT_EQ(one ? one->name : "", found ? found : "") << name;
        EXPECT_EQ(one ? all.at(one->path) : nullptr, one);
    }
    EXPECT_EQ(all.at("Vinyl.qtz"), nullptr) << "a whole path";
}

TEST(RandomComposition, IsOneOfTwoOrMoreAndStoresNothing)
{
    const std::tuple<Value, std::uint32_t, std::optional<std::string>> cases[]
        = {{Value(), 0, std::nullopt}, {Value(Array{"/a"}), 0, std::nullopt}, {Value(Array{"/a", "/b"}), 3, "/b"},
            {Value(Array{"/a", "/b", "/c"}), 4294967295u, "/a"}, {Value(Array{"/a", 5}), 1, std::nullopt}};
    for (const auto& [list, number, path] : cases) {
        Saver in;
        in.store.setValueForKey(Saver::kIdentifier, "Files Paths", list);
        in.surroundings.arc4random = [number = number] { return number; };
        EXPECT_EQ(randomComposition(in.surroundings), path) << description(list);
        EXPECT_EQ(in.stored("Active File Path"), std::nullopt);
    }
}

TEST(StartSettings, AreWhatIsStoredAndTheUsualForNonsense)
{
    Saver in;
    const auto text = [&] {
        const auto is = startSettings(in.surroundings);
        std::string all
            = std::to_string(is.afterMinutes) + (is.onBattery ? " b " : " - ") + std::to_string(is.fade.count());
        for (const auto& name : is.displays)
            all += " " + name;
        return all;
    };
    constexpr const char* kUsual = "5.000000 b 0.500000";
    EXPECT_EQ(text(), kUsual);
    const auto put
        = [&](const char* key, const Value& value) { in.store.setValueForKey(Saver::kIdentifier, key, value); };
    for (const Value& wrong : {Value("7"), Value(-1), Value(541), Value(Array{1})}) {
        put("Start After Minutes", wrong);
        put("Fade In Seconds", wrong);
        put("Start Displays", Array{wrong, "", std::string(300, 'x')});
        EXPECT_THAT(text(), testing::StartsWith(kUsual)) << description(wrong);
    }
    setStartMinutes(in.surroundings, 0);
    setStartFade(in.surroundings, Seconds(11));
    setStartOnBattery(in.surroundings, false);
    setStartDisplays(in.surroundings, {"DP-1", "DP-2"});
    EXPECT_EQ(text(), "0.020000 - 10.000000 DP-1 DP-2");
    setStartDisplays(in.surroundings, {});
    EXPECT_EQ(text(), "0.020000 - 10.000000");
}

TEST(StartSettings, MeanTheDisplaysThatAreThere)
{
    using Names = std::vector<std::string>;
    const Names there{"DP-1", "HDMI-1", "eDP-1"};
    const std::tuple<const char*, Names, const char*> cases[] = {{"all", there, "all"}, {"", there, "nothing said"},
        {"primary", {"DP-1"}, "the first"}, {"eDP-1,DP-1", {"DP-1", "eDP-1"}, "some"},
        {",HDMI-1,,gone", {"HDMI-1"}, "what isn't there is left out"}, {"gone", there, "none is there"}};
    for (const auto& [said, covered, why] : cases)
        EXPECT_EQ(displaysToCover(there, displaysNamed(said)), covered) << why;
    EXPECT_EQ(displaysToCover({}, displaysNamed("primary")), Names());
}

} // namespace
} // namespace vitrel
