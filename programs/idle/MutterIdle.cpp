#include "programs/idle/MutterIdle.h"

#include "platform/messagebus/BusConnection.h"
#include "platform/messagebus/BusTypes.h"

#include <chrono>
#include <cstdint>

namespace vitrel {

namespace {

constexpr const char* kMonitor = "org.gnome.Mutter.IdleMonitor";
constexpr const char* kPath = "/org/gnome/Mutter/IdleMonitor/Core";
constexpr const char* kBus = "org.freedesktop.DBus";
constexpr std::chrono::seconds kPatience{5}, kShortPatience{1};
constexpr Seconds kFirstRetry{5}, kLongestRetry{1800};

} // namespace

class MutterIdle::Connection : public BusConnection
{
public:
    Connection(RunLoop& loop, MutterIdle& source, Seconds timeout)
        : BusConnection(loop, Kind::session, {kFirstRetry, kLongestRetry})
        , to(&source)
        , milliseconds_(std::uint64_t(timeout.count() * 1000))
    { }
    ~Connection() override { close(); }

    MutterIdle* to; // null once it has gone

private:
    void opened(sdbus::IConnection& bus) override;
    void closing() override;
    void watch();
    void fired(std::uint32_t watch);
    void active()
    {
        if (to && to->onActive)
            to->onActive();
    }

    const std::uint64_t milliseconds_;
    std::uint32_t idleWatch_ = 0, activeWatch_ = 0;
    std::unique_ptr<sdbus::IProxy> monitor_, names_;
};

void MutterIdle::Connection::opened(sdbus::IConnection& bus)
{
    monitor_ = sdbus::createProxy(bus, BusName(kMonitor), sdbus::ObjectPath(kPath));
    onSignal(*monitor_, kMonitor, "WatchFired", [this](sdbus::Signal& signal) {
        try {
            std::uint32_t watch = 0;
            signal >> watch;
            fired(watch);
        } catch (const sdbus::Error&) { }
    });
    finish(*monitor_);
    // The desktop's shell may be started anew, and knows of no watches then.
    names_ = sdbus::createProxy(bus, BusName(kBus), sdbus::ObjectPath("/org/freedesktop/DBus"));
    onSignal(*names_, kBus, "NameOwnerChanged", [this](sdbus::Signal& signal) {
        try {
            std::string name, oldOwner, newOwner;
            signal >> name >> oldOwner >> newOwner;
            if (name == kMonitor && !newOwner.empty())
                watch();
        } catch (const sdbus::Error&) { }
    });
    finish(*names_);
    watch();
}

void MutterIdle::Connection::watch()
{
    idleWatch_ = activeWatch_ = 0;
    monitor_->callMethodAsync("AddIdleWatch")
        .onInterface(kMonitor)
        .withTimeout(kPatience)
        .withArguments(milliseconds_)
        .uponReplyInvoke([this](BusError error, std::uint32_t watch) { idleWatch_ = error ? 0 : watch; });
}

void MutterIdle::Connection::fired(std::uint32_t watch)
{
    if (watch != 0 && watch == activeWatch_) {
        activeWatch_ = 0; // it fires once
        active();
    } else if (watch != 0 && watch == idleWatch_) {
        monitor_->callMethodAsync("AddUserActiveWatch")
            .onInterface(kMonitor)
            .withTimeout(kPatience)
            .uponReplyInvoke([this](BusError error, std::uint32_t watch) { activeWatch_ = error ? 0 : watch; });
        if (to && to->onIdle)
            to->onIdle();
    }
}

void MutterIdle::Connection::closing()
{
    monitor_.reset();
    names_.reset();
    active();
}

MutterIdle::MutterIdle(RunLoop& loop, Seconds timeout)
    : connection_(std::make_shared<Connection>(loop, *this, timeout))
{
    connection_->open();
}

MutterIdle::~MutterIdle()
{
    connection_->to = nullptr;
}

bool MutterIdle::isThere()
{
    if (!BusConnection::answers(BusConnection::Kind::session))
        return false;
    try {
        const auto bus = sdbus::createSessionBusConnection();
        const auto names = sdbus::createProxy(*bus, BusName(kBus), sdbus::ObjectPath("/org/freedesktop/DBus"));
        finish(*names);
        bool has = false;
        names->callMethod("NameHasOwner")
            .onInterface(kBus)
            .withTimeout(kShortPatience)
            .withArguments(kMonitor)
            .storeResultsTo(has);
        return has;
    } catch (const sdbus::Error&) {
        return false;
    }
}

} // namespace vitrel
