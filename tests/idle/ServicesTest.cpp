// What the idle program hears over real buses, with the desktop's services in this process on connections of their own.
#include "platform/messagebus/BusTypes.h"
#include "programs/idle/LoginSession.h"
#include "programs/idle/MutterIdle.h"
#include "programs/idle/SaverService.h"

#include "support/BusDaemon.h"
#include "support/RealLoop.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <cstdlib>

namespace vitrel {
namespace {

using testing::ElementsAre, testing::IsEmpty;

struct Services : testing::Test {
    void SetUp() override
    {
        if (!daemon_.isThere())
            GTEST_SKIP() << "no dbus-daemon";
        for (const char* name : {"DBUS_SESSION_BUS_ADDRESS", "DBUS_SYSTEM_BUS_ADDRESS"})
            ::setenv(name, address_.c_str(), 1);
        ::setenv("XDG_SESSION_ID", "c7", 1);
    }
    std::unique_ptr<sdbus::IConnection> connect() { return sdbus::createSessionBusConnectionWithAddress(address_); }
    // `other` is a connection whose requests are served meanwhile.
    template <class Done> bool turnUntil(Done done, sdbus::IConnection* other = nullptr, double seconds = 10)
    {
        return real_.turnUntil(done, seconds, [&] {
            while (other && processOne(*other)) { }
        });
    }
    void turnFor(double seconds, sdbus::IConnection* other)
    {
        turnUntil([] { return false; }, other, seconds);
    }

    const TemporaryFolder folder_;
    const std::string address_ = "unix:path=" + (folder_ / "bus");
    const BusDaemon daemon_{address_};
    RealLoop real_;
    RunLoop& loop_ = real_.loop;
};

TEST_F(Services, ApplicationsHoldTheSaverBackUntilTheyAreDoneOrDie)
{
    SaverService service(loop_);
    bool holds = false;
    service.onChanged = [&](const InhibitorBook& book) { holds = book.holdsSaverBack(); };
    service.start();
    ASSERT_TRUE(turnUntil([&] { return service.isOurs(); }));

    auto film = connect();
    std::optional<std::uint32_t> cookie;
    std::optional<std::string> refusal;
    auto proxy = sdbus::createProxy(*film, BusName("org.freedesktop.ScreenSaver"), sdbus::ObjectPath("/ScreenSaver"));
    finish(*proxy);
    const auto inhibit = [&](const std::string& why) {
        cookie.reset();
        proxy->callMethodAsync("Inhibit")
            .onInterface("org.freedesktop.ScreenSaver")
            .withArguments(std::string("film"), why)
            .uponReplyInvoke([&](BusError, std::uint32_t number) { cookie = number; });
        return turnUntil([&] { return cookie.has_value(); }, film.get());
    };
    const auto uninhibit = [&](std::uint32_t number) {
        refusal.reset();
        proxy->callMethodAsync("UnInhibit")
            .onInterface("org.freedesktop.ScreenSaver")
            .withArguments(number)
            .uponReplyInvoke([&](BusError error) { refusal = error ? std::string(error->getName()) : ""; });
        return turnUntil([&] { return refusal.has_value(); }, film.get());
    };
    ASSERT_TRUE(inhibit("audio-playing"));
    EXPECT_FALSE(holds);
    ASSERT_TRUE(inhibit("video-playing"));
    EXPECT_TRUE(holds);
    ASSERT_TRUE(uninhibit(*cookie));
    EXPECT_FALSE(holds);
    ASSERT_TRUE(uninhibit(*cookie));
    EXPECT_EQ(*refusal, "org.freedesktop.DBus.Error.InvalidArgs") << "twice";
    ASSERT_TRUE(inhibit("video-playing"));
    EXPECT_TRUE(holds);
    proxy.reset();
    film.reset();
    EXPECT_TRUE(turnUntil([&] { return !holds; }));
}

TEST_F(Services, AnotherSaversNameIsNeverTaken)
{
    auto other = connect();
    other->requestName(BusName("org.freedesktop.ScreenSaver"));
    SaverService service(loop_);
    service.start();
    turnFor(0.2, other.get());
    EXPECT_FALSE(service.isOurs());
    other->releaseName(BusName("org.freedesktop.ScreenSaver"));
    EXPECT_NO_THROW(other->requestName(BusName("org.freedesktop.ScreenSaver"))) << "nobody stands in line for it";
}

TEST_F(Services, TheLoginManagerTellsOfLocksSleepAndInhibitors)
{
    using Row = sdbus::Struct<std::string, std::string, std::string, std::string, std::uint32_t, std::uint32_t>;
    std::vector<Row> rows
        = {Row{"shutdown:idle", "talk", "presenting", "block", 0, 1}, Row{"idle", "later", "", "delay", 0, 1},
            Row{"sleep", "net", "", "block", 0, 1}, Row{"idleness", "odd", "", "block", 0, 1}};
    auto system = connect();
    constexpr const char *manager = "org.freedesktop.login1.Manager", *session = "org.freedesktop.login1.Session";
    auto login = sdbus::createObject(*system, sdbus::ObjectPath("/org/freedesktop/login1"));
    offerMethod(*login, manager, "ListInhibitors", [&] { return rows; });
    offerMethod(*login, manager, "GetSession",
        [](const std::string& name) { return sdbus::ObjectPath("/org/freedesktop/login1/session/" + name); });
    offerSignal<bool>(*login, manager, "PrepareForSleep");
    offerProperty(*login, manager, "BlockInhibited", [] { return std::string("idle"); });
    finish(*login);
    bool hint = true;
    auto mine = sdbus::createObject(*system, sdbus::ObjectPath("/org/freedesktop/login1/session/c7"));
    offerSignal<>(*mine, session, "Lock");
    offerSignal<>(*mine, session, "Unlock");
    offerProperty(*mine, session, "LockedHint", [&] { return hint; });
    finish(*mine);
    system->requestName(BusName("org.freedesktop.login1"));

    std::vector<std::string> heard;
    std::vector<std::string> inhibitors;
    LoginSession watching(loop_);
    watching.onLocked = [&](bool locked) { heard.push_back(locked ? "locked" : "unlocked"); };
    watching.onAsleep = [&](bool asleep) { heard.push_back(asleep ? "asleep" : "awake"); };
    watching.onInhibitors = [&](const std::vector<Inhibitor>& list) {
        inhibitors.clear();
        for (const auto& one : list)
            inhibitors.push_back(one.who + ": " + one.why);
    };
    watching.start();
    ASSERT_TRUE(turnUntil([&] { return heard.size() == 1 && !inhibitors.empty(); }, system.get()));
    EXPECT_EQ(heard[0], "locked") << "as it is at the start";
    EXPECT_THAT(inhibitors, ElementsAre("talk: presenting"));
    mine->emitSignal("Unlock").onInterface(session);
    mine->emitSignal("Lock").onInterface(session);
    login->emitSignal("PrepareForSleep").onInterface(manager).withArguments(true);
    login->emitSignal("PrepareForSleep").onInterface(manager).withArguments(false);
    hint = false;
    propertyChanged(*mine, session, "LockedHint");
    rows.clear();
    propertyChanged(*login, manager, "BlockInhibited");
    ASSERT_TRUE(turnUntil([&] { return heard.size() == 6 && inhibitors.empty(); }, system.get()));
    EXPECT_THAT(heard, ElementsAre("locked", "unlocked", "locked", "asleep", "awake", "unlocked"));
    system->releaseName(BusName("org.freedesktop.login1"));
}

TEST_F(Services, AShellThatIsStartedAnewIsAskedAgain)
{
    EXPECT_FALSE(MutterIdle::isThere());
    constexpr const char* monitor = "org.gnome.Mutter.IdleMonitor";
    std::uint32_t next = 0;
    std::vector<std::uint64_t> intervals;
    int activeWatches = 0;
    auto shell = connect();
    auto core = sdbus::createObject(*shell, sdbus::ObjectPath("/org/gnome/Mutter/IdleMonitor/Core"));
    offerMethod(*core, monitor, "AddIdleWatch", [&](std::uint64_t interval) {
        intervals.push_back(interval);
        return ++next;
    });
    offerMethod(*core, monitor, "AddUserActiveWatch", [&] {
        ++activeWatches;
        return ++next;
    });
    offerSignal<std::uint32_t>(*core, monitor, "WatchFired");
    finish(*core);
    const auto fire
        = [&](std::uint32_t watch) { core->emitSignal("WatchFired").onInterface(monitor).withArguments(watch); };
    shell->requestName(BusName(monitor));

    std::string heard;
    MutterIdle idle(loop_, Seconds(90));
    idle.onIdle = [&] { heard += "idle "; };
    idle.onActive = [&] { heard += "active "; };
    ASSERT_TRUE(turnUntil([&] { return intervals.size() == 1; }, shell.get()));
    fire(77); // another program's
    fire(1);
    ASSERT_TRUE(turnUntil([&] { return activeWatches == 1; }, shell.get()));
    turnFor(0.1, shell.get());
    fire(2);
    fire(1); // idle watches fire each time
    ASSERT_TRUE(turnUntil([&] { return heard == "idle active idle "; }, shell.get())) << heard;
    shell->releaseName(BusName(monitor));
    shell->requestName(BusName(monitor));
    ASSERT_TRUE(turnUntil([&] { return intervals.size() == 2; }, shell.get()));
    EXPECT_THAT(intervals, testing::Each(90'000u));
    shell->releaseName(BusName(monitor));
}

} // namespace
} // namespace vitrel
