#include "platform/foundation/DefaultsStore.h"
#include "platform/foundation/NSUserDefaults.h"
#include "platform/foundation/PropertyList.h"
#include "support/FailingFiles.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <sys/wait.h>
#include <unistd.h>

namespace vitrel {
namespace {

using testing::ElementsAre, testing::HasSubstr, testing::IsEmpty;

// The disk is not asked to keep it, so that ten thousand writes take seconds.
struct QuickFiles final : FileSystem {
    int fsync(int) override { return 0; }
};

struct Store {
    TemporaryFolder folder;
    FailingFiles files;
    std::vector<std::string> log;
    DefaultsStore store{folder.path(), files, [this](const std::string& line) { log.push_back(line); }};
    NSUserDefaults defaults{store, "org.example.saver"};

    std::string path() const { return store.pathForDomain("org.example.saver"); }
    // What another process finds.
    std::optional<Value> fresh(const std::string& key)
    {
        FileSystem plain;
        DefaultsStore other(folder.path(), plain, {});
        return other.valueForKey("org.example.saver", key);
    }
};

TEST(Defaults, AreSeenByOthersAtOnceAndKeepWhatOthersWrite)
{
    Store in;
    FileSystem plain;
    DefaultsStore other(in.folder.path(), plain, {});
    for (int round = 0; round < 50; ++round) { // fast enough for many writes within one tick of the disk's clock
        in.defaults.setObjectForKey(round, "mine");
        EXPECT_EQ(other.valueForKey("org.example.saver", "mine"), Value(round));
        other.setValueForKey("org.example.saver", "theirs", round % 10);
        EXPECT_EQ(in.defaults.objectForKey("theirs"), Value(round % 10));
        EXPECT_EQ(in.defaults.objectForKey("mine"), Value(round));
    }
    EXPECT_EQ(in.defaults.objectForKey("never"), std::nullopt);
    EXPECT_THAT(in.log, IsEmpty());
}

TEST(Defaults, GiveEachKindOnlyAsThatKind)
{
    Store in;
    in.defaults.setObjectForKey(Value(Array{Value("a")}), "list");
    in.defaults.setObjectForKey(Value(Bytes{1, 2}), "data");
    in.defaults.setBoolForKey(false, "flag");
    EXPECT_EQ(in.defaults.arrayForKey("list"), Array{Value("a")});
    EXPECT_EQ(in.defaults.stringForKey("list"), std::nullopt);
    EXPECT_EQ(*in.defaults.dataForKey("data"), (Bytes{1, 2}));
    EXPECT_EQ(in.defaults.dataForKey("list"), nullptr);
    EXPECT_EQ(in.defaults.objectForKey("flag"), Value(false)) << "stored false differs from absent";
    in.defaults.removeObjectForKey("flag");
    EXPECT_EQ(in.defaults.objectForKey("flag"), std::nullopt);
    EXPECT_EQ(in.fresh("flag"), std::nullopt);
    const std::pair<Value, bool> flags[]
        = {{true, true}, {0, false}, {2, true}, {"YES", true}, {"no", false}, {"1", true}, {Value(Array{}), false}};
    for (const auto& [value, expected] : flags) {
        in.defaults.setObjectForKey(value, "b");
        EXPECT_EQ(in.defaults.boolForKey("b"), expected) << description(value);
    }
}

// File names may hold any byte; a key that comes back changed is a setting that is lost.
TEST(Defaults, KeepNamesThatXmlCanNotHold)
{
    Store in;
    for (const std::string name :
        {"/a/\xFF\xFE b%41.qtz", "/a/\x01.qtz", "tab\tline\n", "\xE2\x90\x9B%41", "gr\xC3\xBC\xC3\x9F"}) {
        in.defaults.setObjectForKey(Value(Array{Value(name)}), name);
        EXPECT_EQ(in.fresh(name), Value(Array{Value(name)})) << name;
    }
}

TEST(Defaults, ArgumentsLieAboveEveryDomainAndAreNeverStored)
{
    Store in;
    in.defaults.setObjectForKey("stored", "key");
    in.store.setArgument("key", "argument");
    EXPECT_EQ(in.defaults.stringForKey("key"), "argument");
    in.defaults.setObjectForKey("new", "key");
    EXPECT_EQ(in.defaults.stringForKey("key"), "argument");
    EXPECT_EQ(in.fresh("key"), Value("new"));
    EXPECT_THAT(in.folder.read(in.path()), testing::Not(HasSubstr("argument")));
}

TEST(Defaults, FallbacksHoldWhereNothingIsStored)
{
    Store in;
    in.store.setFallback("key", "fallback");
    in.store.setFallback("list", Array{1});
    EXPECT_EQ(in.defaults.stringForKey("key"), "fallback");
    EXPECT_EQ(in.fresh("key"), std::nullopt);
    for (const Value& empty : {Value(""), Value()}) {
        in.defaults.setObjectForKey(empty, "key");
        EXPECT_EQ(in.defaults.stringForKey("key"), "fallback");
    }
    in.defaults.setObjectForKey(Array{}, "list");
    EXPECT_EQ(in.defaults.arrayForKey("list"), Array{1});
    for (const Value& value : {Value("mine"), Value(false), Value(0)}) {
        in.defaults.setObjectForKey(value, "key");
        EXPECT_EQ(in.defaults.objectForKey("key"), value);
    }
}

TEST(Defaults, KeptInMemoryAreReadFromTheDiskAndLeaveItAlone)
{
    Store in;
    in.defaults.setObjectForKey("old", "key");
    in.store.keepInMemory();
    in.defaults.setObjectForKey("mine", "key");
    EXPECT_TRUE(in.defaults.synchronize());
    EXPECT_EQ(in.defaults.stringForKey("key"), "mine");
    EXPECT_EQ(in.fresh("key"), Value("old"));
    FileSystem plain;
    DefaultsStore(in.folder.path(), plain, {}).setValueForKey("org.example.saver", "theirs", 1);
    EXPECT_EQ(in.defaults.objectForKey("theirs"), Value(1));
}

// Fails the n-th change of the disk for n = 1, 2, ... until a store goes through.
TEST(Defaults, AFailedWriteLeavesTheOldFileWholeAndTheValueInMemory)
{
    int failures = 0;
    for (int n = 1;; ++n) {
        Store in;
        in.defaults.setObjectForKey("old", "key");
        in.files.calls = 0;
        in.files.failAt = n;
        in.defaults.setObjectForKey("new", "key");
        EXPECT_EQ(in.defaults.stringForKey("key"), "new") << n;
        EXPECT_TRUE(propertyListWithData(bytesOf(in.folder.read(in.path())))) << n;
        EXPECT_EQ(in.folder.count(), 2u) << n << ": the list and its lock, no temporary file";
        if (in.files.calls < n)
            break;
        if (in.fresh("key") == Value("new")) // only the folder's own fsync failed
            continue;
        ++failures;
        EXPECT_EQ(in.fresh("key"), Value("old")) << n;
        EXPECT_THAT(in.log, ElementsAre(HasSubstr("can't be written: No space left"))) << n;
        in.defaults.setObjectForKey(1, "other");
        EXPECT_EQ(in.fresh("key"), Value("new")) << n << ": goes out with the next write that succeeds";
        EXPECT_EQ(in.log.size(), 1u);
    }
    EXPECT_GE(failures, 5) << "lock, temporary file, write, fsync and rename";
}

TEST(Defaults, AFullDiskIsSaidOnceAndASynchronizeBringsEverythingOut)
{
    Store in;
    in.files.isFull = true;
    for (int k = 0; k < 5; ++k)
        in.defaults.setObjectForKey(k, "key" + std::to_string(k));
    EXPECT_EQ(in.log.size(), 1u);
    EXPECT_FALSE(in.defaults.synchronize());
    EXPECT_EQ(in.defaults.objectForKey("key4"), Value(4));
    in.files.isFull = false;
    EXPECT_TRUE(in.defaults.synchronize());
    EXPECT_EQ(in.fresh("key0"), Value(0));
}

TEST(Defaults, AFileThatCanNotBeParsedIsSetAsideAndNeverOverwritten)
{
    Store in;
    for (const char* contents : {"<plist><dict>half a file", "<plist><array/></plist>"}) {
        in.folder.write("org.example.saver.plist", contents);
        EXPECT_EQ(in.defaults.objectForKey("key"), std::nullopt);
        EXPECT_EQ(in.folder.read(in.path()), contents) << "reading changes nothing";
        in.defaults.setObjectForKey(1, "key");
        EXPECT_EQ(in.fresh("key"), Value(1));
    }
    EXPECT_EQ(in.folder.read(in.path() + ".damaged"), "<plist><dict>half a file");
    EXPECT_EQ(in.folder.read(in.path() + ".damaged-2"), "<plist><array/></plist>");
}

TEST(Defaults, AStoreWithoutAFolderKeepsToItselfAndADomainsNameStaysWithinTheFolder)
{
    FileSystem files;
    DefaultsStore store("", files, {});
    NSUserDefaults defaults(store, "d");
    defaults.setObjectForKey(1, "key");
    EXPECT_EQ(defaults.objectForKey("key"), Value(1));
    EXPECT_TRUE(defaults.synchronize());
    const DefaultsStore inFolder("/f", files, {});
    EXPECT_EQ(inFolder.pathForDomain("../../etc/passwd"), "/f/_._.._etc_passwd.plist");
    EXPECT_EQ(inFolder.pathForDomain("org.x.Saver-1"), "/f/org.x.Saver-1.plist");
}

// Runs it in `count` processes at once, each with a store of the folder; what they leave in the domain "shared".
Dictionary afterProcesses(int count, const std::function<void(DefaultsStore&, int)>& what)
{
    TemporaryFolder folder;
    std::vector<pid_t> children;
    for (int child = 0; child < count; ++child) {
        children.push_back(fork());
        if (children.back() == 0) {
            QuickFiles files;
            DefaultsStore store(folder.path(), files, {});
            what(store, child);
            _exit(store.synchronize("shared") ? 0 : 1);
        }
    }
    for (const pid_t pid : children) {
        int status = 0;
        waitpid(pid, &status, 0);
        EXPECT_EQ(status, 0);
    }
    FileSystem files;
    return DefaultsStore(folder.path(), files, {}).dictionaryForDomain("shared");
}

TEST(Defaults, TenProcessesWriteAThousandTimesEachAndLoseNothing)
{
    const Dictionary all = afterProcesses(10, [](DefaultsStore& store, int child) {
        for (int k = 0; k < 1000; ++k)
            store.setValueForKey("shared", std::to_string(child) + ":" + std::to_string(k % 20), k);
    });
    EXPECT_EQ(all.size(), 200u);
    for (const auto& [key, value] : all)
        EXPECT_GE(value.number().value_or(0), 980) << key;
}

// Each reads a number and stores the next: without the batch, most of the steps are lost.
TEST(Defaults, ABatchKeepsOthersOutFromItsReadToItsWrite)
{
    const Dictionary all = afterProcesses(8, [](DefaultsStore& store, int) {
        for (int k = 0; k < 100; ++k) {
            const DefaultsStore::Batch batch(store, "shared");
            const auto count = store.valueForKey("shared", "count").value_or(Value(0)).number().value_or(0);
            store.setValueForKey("shared", "count", count + 1);
        }
    });
    EXPECT_EQ(all.at("count").number(), 800);
}

TEST(Defaults, ABatchIsOneWriteThatOthersSeeWhole)
{
    Store in;
    {
        const DefaultsStore::Batch outer(in.store, "org.example.saver"), inner(in.store, "org.example.saver");
        in.files.calls = 0;
        for (int k = 0; k < 100; ++k)
            in.defaults.setObjectForKey(k, "key " + std::to_string(k));
        EXPECT_TRUE(in.defaults.synchronize());
        EXPECT_EQ(in.files.calls, 0);
        EXPECT_EQ(in.defaults.objectForKey("key 7"), Value(7)) << "the process itself sees it at once";
        EXPECT_EQ(in.fresh("key 7"), std::nullopt);
    }
    EXPECT_EQ(in.fresh("key 7"), Value(7));
    EXPECT_EQ(in.fresh("key 99"), Value(99));
    in.files.failAt = in.files.calls + 1;
    {
        const DefaultsStore::Batch batch(in.store, "org.example.saver");
        in.defaults.setObjectForKey(1, "late");
    }
    EXPECT_EQ(in.defaults.objectForKey("late"), Value(1)) << "without the lock it goes out all the same";
}

} // namespace
} // namespace vitrel
