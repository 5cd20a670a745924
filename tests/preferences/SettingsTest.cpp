#include "preferences/Settings.h"
#include "platform/screensaver/ScreenSaverDefaults.h"
#include "preferences/InitialChoice.h"
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
    for (const bool listed : {false, true}) {
        Saver in;
        const auto key = [&](const char* name) { return in.stored(name); };
        setInitialChoice(in.surroundings, listed);
        EXPECT_EQ(key("Active File Path"), std::nullopt) << "without such a composition";
        const std::string path = in.bundleFolder.write("Muralis RSS Almanac.qtz", "");
        setInitialChoice(in.surroundings, listed);
        const auto defaults = in.settings().screenSaverDefaults();
        EXPECT_EQ(defaults->objectForKey("Active File Path"), Value(path));
        EXPECT_EQ(defaults->objectForKey("Muralis RSS Almanac.qtz: Is RSS Visualizer"), Value(true));
        EXPECT_EQ(defaults->objectForKey("Files Paths"), listed ? std::optional<Value>(Array{path}) : std::nullopt);
        EXPECT_TRUE(in.store.dictionaryForDomain(Saver::kIdentifier).empty());
        defaults->setObjectForKey("/mine.qtz", "Active File Path");
        EXPECT_EQ(defaults->objectForKey("Active File Path"), Value("/mine.qtz"));
    }
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

} // namespace
} // namespace vitrel
