#include "programs/idle/LoginSession.h"

#include "platform/messagebus/BusConnection.h"
#include "platform/messagebus/BusTypes.h"

#include <chrono>
#include <cstdlib>
#include <map>

#include <unistd.h>

namespace vitrel {

namespace {

constexpr const char* kLogin = "org.freedesktop.login1";
constexpr const char* kManagerPath = "/org/freedesktop/login1";
constexpr const char* kManager = "org.freedesktop.login1.Manager";
constexpr const char* kSession = "org.freedesktop.login1.Session";
constexpr const char* kUser = "org.freedesktop.login1.User";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
constexpr std::chrono::seconds kPatience{5};
constexpr Seconds kFirstRetry{30}, kLongestRetry{1800};

using Variants = std::map<std::string, sdbus::Variant>;
using Row = sdbus::Struct<std::string, std::string, std::string, std::string, std::uint32_t, std::uint32_t>;

bool hasWord(const std::string& list, const std::string& word)
{
    return (':' + list + ':').find(':' + word + ':') != std::string::npos;
}

template <class T> const T* in(const Variants& values, const char* key, T& storage)
{
    const auto place = values.find(key);
    if (place == values.end() || !place->second.containsValueOfType<T>())
        return nullptr;
    storage = place->second.get<T>();
    return &storage;
}

} // namespace

class LoginSession::Connection : public BusConnection
{
public:
    Connection(RunLoop& loop, LoginSession& session)
        : BusConnection(loop, Kind::system, {kFirstRetry, kLongestRetry})
        , to(&session)
    { }
    ~Connection() override { close(); }

    LoginSession* to; // null once it has gone

private:
    void opened(sdbus::IConnection& bus) override;
    void closing() override;
    void findSession();
    void watchSession(const std::string& path);
    void askForUser();
    void listInhibitors();
    void lockedIs(bool locked);

    sdbus::IConnection* bus_ = nullptr;
    std::unique_ptr<sdbus::IProxy> manager_, session_, user_;
};

void LoginSession::Connection::opened(sdbus::IConnection& bus)
{
    bus_ = &bus;
    manager_ = sdbus::createProxy(bus, BusName(kLogin), sdbus::ObjectPath(kManagerPath));
    onSignal(*manager_, kManager, "PrepareForSleep", [this](sdbus::Signal& signal) {
        try {
            bool asleep = false;
            signal >> asleep;
            if (to && to->onAsleep)
                to->onAsleep(asleep);
        } catch (const sdbus::Error&) { }
    });
    onSignal(*manager_, kProperties, "PropertiesChanged", [this](sdbus::Signal& signal) {
        try {
            std::string interface;
            Variants changed;
            std::vector<std::string> invalidated;
            signal >> interface >> changed >> invalidated;
            if (interface == kManager)
                listInhibitors();
        } catch (const sdbus::Error&) { }
    });
    finish(*manager_);
    findSession();
    listInhibitors();
}

void LoginSession::Connection::closing()
{
    manager_.reset();
    session_.reset();
    user_.reset();
    bus_ = nullptr;
}

// A service of the user's has no session of its own, so it takes the one on the user's display.
void LoginSession::Connection::findSession()
{
    const auto take = [this](BusError error, const sdbus::ObjectPath& path) {
        if (error)
            askForUser();
        else
            watchSession(path);
    };
    const char* known = std::getenv("XDG_SESSION_ID");
    if (known && *known)
        manager_->callMethodAsync("GetSession")
            .onInterface(kManager)
            .withTimeout(kPatience)
            .withArguments(std::string(known))
            .uponReplyInvoke(take);
    else
        manager_->callMethodAsync("GetSessionByPID")
            .onInterface(kManager)
            .withTimeout(kPatience)
            .withArguments(std::uint32_t(getpid()))
            .uponReplyInvoke(take);
}

void LoginSession::Connection::askForUser()
{
    manager_->callMethodAsync("GetUser")
        .onInterface(kManager)
        .withTimeout(kPatience)
        .withArguments(std::uint32_t(getuid()))
        .uponReplyInvoke([this](BusError error, const sdbus::ObjectPath& path) {
            if (error)
                return;
            user_ = sdbus::createProxy(*bus_, BusName(kLogin), sdbus::ObjectPath(path));
            finish(*user_);
            user_->callMethodAsync("Get")
                .onInterface(kProperties)
                .withTimeout(kPatience)
                .withArguments(kUser, std::string("Display"))
                .uponReplyInvoke([this](BusError error, const sdbus::Variant& display) {
                    using Session = sdbus::Struct<std::string, sdbus::ObjectPath>;
                    if (!error && display.containsValueOfType<Session>())
                        watchSession(display.get<Session>().get<1>());
                });
        });
}

void LoginSession::Connection::watchSession(const std::string& path)
{
    if (path.empty() || path == "/")
        return;
    session_ = sdbus::createProxy(*bus_, BusName(kLogin), sdbus::ObjectPath(path));
    // Asked to lock is as good as locked: the locker is on its way, and needs the screen.
    onSignal(*session_, kSession, "Lock", [this](sdbus::Signal&) { lockedIs(true); });
    onSignal(*session_, kSession, "Unlock", [this](sdbus::Signal&) { lockedIs(false); });
    onSignal(*session_, kProperties, "PropertiesChanged", [this](sdbus::Signal& signal) {
        try {
            std::string interface;
            Variants changed;
            signal >> interface >> changed;
            bool locked = false;
            if (interface == kSession && in(changed, "LockedHint", locked))
                lockedIs(locked);
        } catch (const sdbus::Error&) { }
    });
    finish(*session_);
    session_->callMethodAsync("Get")
        .onInterface(kProperties)
        .withTimeout(kPatience)
        .withArguments(kSession, std::string("LockedHint"))
        .uponReplyInvoke([this](BusError error, const sdbus::Variant& locked) {
            if (!error && locked.containsValueOfType<bool>())
                lockedIs(locked.get<bool>());
        });
}

void LoginSession::Connection::lockedIs(bool locked)
{
    if (to && to->onLocked)
        to->onLocked(locked);
}

void LoginSession::Connection::listInhibitors()
{
    manager_->callMethodAsync("ListInhibitors")
        .onInterface(kManager)
        .withTimeout(kPatience)
        .uponReplyInvoke([this](BusError error, const std::vector<Row>& rows) {
            std::vector<Inhibitor> list;
            for (const auto& row : rows) {
                if (hasWord(row.get<0>(), "idle") && row.get<3>() == "block")
                    list.push_back({row.get<1>(), row.get<2>()});
            }
            if (!error && to && to->onInhibitors)
                to->onInhibitors(list);
        });
}

LoginSession::LoginSession(RunLoop& loop)
    : connection_(std::make_shared<Connection>(loop, *this))
{ }

LoginSession::~LoginSession()
{
    connection_->to = nullptr;
}

void LoginSession::start()
{
    connection_->open();
}

} // namespace vitrel
