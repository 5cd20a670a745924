#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSDistributedNotificationCenter.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/NSURL.h"
#include "platform/foundation/OperatingSystemVersion.h"
#include "platform/foundation/PropertyList.h"
#include "support/ManualLoop.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

const char* const kInfo = "<plist><dict><key>CFBundleIdentifier</key><string>org.example.saver</string></dict></plist>";

// The same layout must do for a build folder, an installation and one that was moved.
TEST(Bundle, IsFoundUpwardsFromTheProgram)
{
    TemporaryFolder prefix;
    prefix.write("share/vitrel/Info.plist", kInfo);
    prefix.write("share/vitrel/Still.qtz", "");
    for (const char* program : {"bin/vitrel", "libexec/vitrel/configure", "tests/foundation/foundation_test"}) {
        const NSBundle bundle = NSBundle::forExecutable(prefix / program);
        EXPECT_EQ(bundle.bundleIdentifier(), "org.example.saver") << program;
        EXPECT_EQ(bundle.pathForResourceOfType("Still", "qtz"), prefix / "share/vitrel/Still.qtz") << program;
        EXPECT_EQ(bundle.pathForResourceOfType("Other", "qtz"), std::nullopt);
    }
    EXPECT_EQ(NSBundle(prefix / "nowhere").bundleIdentifier(), std::nullopt);
}

TEST(URL, GivesTheLastPartOfAPath)
{
    const std::pair<const char*, const char*> cases[]
        = {{"/a/Aurora.qtz", "Aurora.qtz"}, {"/a/b/", "b"}, {"x", "x"}, {"/", "/"}, {"", ""}, {"/a b/c.d.e", "c.d.e"}};
    for (const auto& [path, last] : cases)
        EXPECT_EQ(NSURL::fileURLWithPath(path).lastPathComponent(), last) << path;
    EXPECT_EQ(NSURL::fileURLWithPath("/a b/\xC3\xBC%").absoluteString(), "file:///a%20b/%C3%BC%25");
}

TEST(Bookmark, FindsAFileThatWasRenamedInItsFolderOrSaysNo)
{
    TemporaryFolder folder;
    const std::string path = folder.write("One.qtz", "1");
    folder.write("Other.qtz", "2");
    const auto bookmark = NSURL::fileURLWithPath(path).bookmarkData();
    ASSERT_TRUE(bookmark);
    const auto resolved = [&] {
        const auto url = NSURL::URLByResolvingBookmarkData(*bookmark);
        return url ? url->path() : url.error().description();
    };
    EXPECT_EQ(resolved(), path) << "nothing has changed";
    std::filesystem::rename(path, folder / "Two.qtz");
    EXPECT_EQ(resolved(), folder / "Two.qtz") << "renamed";
    folder.write("One.qtz", "3");
    EXPECT_EQ(resolved(), folder / "Two.qtz") << "although another took its old name";
    std::filesystem::remove(folder / "Two.qtz");
    EXPECT_EQ(resolved(), path) << "an editor saved it anew";
    std::filesystem::remove(path);
    EXPECT_THAT(resolved(), testing::HasSubstr("doesn't exist"));
    EXPECT_FALSE(NSURL::fileURLWithPath(path).startAccessingSecurityScopedResource());
    EXPECT_EQ(NSURL::fileURLWithPath(path).bookmarkData(), std::nullopt);
    // What is none.
    for (const Value& value :
        {Value("text"), Value(Dictionary{}), Value(Dictionary{{"path", "/a"}, {"device", 1}, {"inode", 1}}),
            Value(Dictionary{{"path", Bytes{'/', 'a'}}, {"device", "1"}, {"inode", 1}})})
        EXPECT_FALSE(NSURL::URLByResolvingBookmarkData(binaryPropertyList(value)).has_value()) << description(value);
    EXPECT_FALSE(NSURL::URLByResolvingBookmarkData({}).has_value());
}

struct Listener : NSObject {
    void heard(const Value& value)
    {
        const auto notification = std::static_pointer_cast<NSNotification>(value.object());
        log.push_back(notification->name + "/" + notification->object);
        if (other)
            center->removeObserver(*other);
    }
    std::vector<std::string> log;
    std::shared_ptr<Listener> other;
    NSDistributedNotificationCenter* center = nullptr;
};

TEST(NotificationCenter, DeliversInTheNextTurnByNameAndSender)
{
    ManualLoop in;
    NSDistributedNotificationCenter center(in.loop);
    const auto any = std::make_shared<Listener>(), one = std::make_shared<Listener>();
    center.addObserverSelectorNameObject(any, SELECTOR(Listener, heard), "n");
    center.addObserverSelectorNameObject(one, SELECTOR(Listener, heard), "n", "s");
    for (const char* object : {"s", "t"})
        center.postNotificationNameObjectUserInfo("n", object, {});
    center.postNotificationNameObjectUserInfo("other", "s", {});
    EXPECT_TRUE(any->log.empty());
    in.loop.turn();
    EXPECT_THAT(any->log, ElementsAre("n/s", "n/t"));
    EXPECT_THAT(one->log, ElementsAre("n/s"));
}

// An observer that another takes away while both are being told.
TEST(NotificationCenter, ReachesNobodyWhoLeftOrIsGone)
{
    ManualLoop in;
    auto center = std::make_unique<NSDistributedNotificationCenter>(in.loop);
    const auto first = std::make_shared<Listener>(), second = std::make_shared<Listener>();
    auto gone = std::make_shared<Listener>();
    first->other = second;
    first->center = center.get();
    for (const auto& listener : {first, second, gone})
        center->addObserverSelectorNameObject(listener, SELECTOR(Listener, heard), "n");
    center->postNotificationNameObjectUserInfo("n", "s", {});
    gone.reset();
    in.loop.turn();
    EXPECT_EQ(first->log.size(), 1u);
    EXPECT_TRUE(second->log.empty());
    center->postNotificationNameObjectUserInfo("n", "s", {});
    center.reset();
    in.loop.turn();
    EXPECT_EQ(first->log.size(), 1u) << "posted before the center went";
}

TEST(Log, IsOneLineWithItsArgumentsInPlace)
{
    std::vector<std::string> lines;
    const LogSink sink = [&](const std::string& line) { lines.push_back(line); };
    NSLog(sink, "failure %@ of %@ %@", {"a\nb", 2});
    NSLog(sink, "100%", {});
    NSLog({}, "nowhere");
    EXPECT_THAT(lines, ElementsAre("failure a b of 2 %@", "100%"));
}

TEST(OperatingSystemVersion, ReadsAndCompares)
{
    const std::pair<const char*, std::optional<OperatingSystemVersion>> cases[]
        = {{"10.14.0", {{10, 14, 0}}}, {"10.14", {{10, 14, 0}}}, {"11", {{11, 0, 0}}}, {"", {}}, {"10.", {}},
            {".1", {}}, {"10.1.2.3", {}}, {"10.x", {}}, {" 10", {}}, {"99999", {}}, {"-1", {}}};
    for (const auto& [text, version] : cases)
        EXPECT_EQ(makeOperatingSystemVersion(text), version) << text;
    EXPECT_LT(OperatingSystemVersion{}, (OperatingSystemVersion{10, 14, 0})) << "the default takes the direct road";
    EXPECT_LT((OperatingSystemVersion{10, 9, 9}), (OperatingSystemVersion{10, 10, 0})) << "numbers, not texts";
}

} // namespace
} // namespace vitrel
