#include "platform/messagebus/BusConnection.h"

#include "platform/messagebus/BusProbe.h"
#include "platform/messagebus/BusTypes.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <limits>
#include <utility>

namespace vitrel {
namespace {

// Who floods the bus must leave time for frames.
constexpr int kMessagesPerTurn = 200;
// As long as callers usually wait for an answer over a bus.
constexpr Seconds kPatience{25};

// Nothing where it must be found out by connecting.
std::optional<std::string> socketOf(bool system)
{
    if (const char* address = std::getenv(system ? "DBUS_SYSTEM_BUS_ADDRESS" : "DBUS_SESSION_BUS_ADDRESS"))
        return BusProbe::socketOf(address);
    if (system)
        return "/run/dbus/system_bus_socket";
    const char* folder = std::getenv("XDG_RUNTIME_DIR");
    return folder ? std::optional(std::string(folder) + "/bus") : std::nullopt;
}

} // namespace

BusConnection::BusConnection(RunLoop& loop, Kind kind, Retry retry)
    : loop_(loop)
    , kind_(kind)
    , retry_(retry)
    , pause_(retry.first)
{ }

BusConnection::~BusConnection() = default;

bool BusConnection::answers(Kind kind)
{
    const auto socket = socketOf(kind == Kind::system);
    if (!socket)
        return true;
    SystemClock clock;
    RunLoop loop(clock);
    BusProbe probe(loop, *socket, Seconds(1));
    probe.onAnswer = [&](bool) { loop.stop(); };
    if (!probe.answer())
        loop.run();
    return probe.answer().value_or(false);
}

void BusConnection::open()
{
    const auto socket = socketOf(kind_ == Kind::system);
    if (!socket) {
        connect();
        return;
    }
    probe_ = std::make_unique<BusProbe>(loop_, *socket, kPatience);
    if (const auto answer = probe_->answer())
        answered(*answer);
    else
        probe_->onAnswer = [weak = weak_from_this()](bool answers) {
            if (const auto connection = weak.lock())
                connection->answered(answers);
        };
}

void BusConnection::answered(bool answers)
{
    probe_.reset();
    if (answers)
        connect();
    else
        lost();
}

void BusConnection::connect()
{
    try {
        bus_ = kind_ == Kind::system ? sdbus::createSystemBusConnection() : sdbus::createSessionBusConnection();
        opened(*bus_);
        arm();
        pause_ = retry_.first;
    } catch (const sdbus::Error&) {
        lost();
    }
}

void BusConnection::close()
{
    closed_ = true;
    probe_.reset();
    drop();
}

void BusConnection::process()
{
    const auto self = shared_from_this();
    try {
        int left = kMessagesPerTurn;
        while (bus_ && left > 0 && processOne(*bus_))
            --left;
        if (left == 0)
            loop_.post([weak = weak_from_this()] {
                if (const auto connection = weak.lock(); connection && connection->bus_)
                    connection->process();
            });
        arm();
    } catch (const sdbus::Error&) {
        lost();
    }
}

// What to wait for changes with every message, so it is asked anew each time.
void BusConnection::arm()
{
    if (!bus_)
        return;
    const sdbus::IConnection::PollData data = bus_->getEventLoopPollData();
    const auto ready = [weak = weak_from_this()] {
        if (const auto connection = weak.lock(); connection && connection->bus_)
            connection->process();
    };
    if (data.fd != watched_ || data.events != watchedEvents_) {
        if (watched_ >= 0 && watched_ != data.fd)
            loop_.unwatch(watched_);
        loop_.watch(data.fd, data.events, [ready](short) { ready(); });
        watched_ = data.fd;
        watchedEvents_ = data.events;
    }
    send(timer_, &NSTimer::invalidate);
    timer_.reset();
    const std::uint64_t end = microsecondsOf(data);
    if (end == std::numeric_limits<std::uint64_t>::max())
        return;
    const auto now
        = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now().time_since_epoch());
    const double left = static_cast<double>(end) - static_cast<double>(now.count());
    timer_ = loop_.scheduledTimer(Seconds(std::max(left / 1e6, 0.0)), false, ready);
}

void BusConnection::lost()
{
    drop();
    if (closed_)
        return;
    loop_.postAfter(pause_, [weak = weak_from_this()] {
        if (const auto connection = weak.lock(); connection && !connection->bus_ && !connection->closed_)
            connection->open();
    });
    pause_ = std::min(pause_ * 2, std::max(retry_.first, retry_.longest));
}

void BusConnection::drop()
{
    if (watched_ >= 0)
        loop_.unwatch(watched_);
    watched_ = -1;
    watchedEvents_ = 0;
    send(timer_, &NSTimer::invalidate);
    timer_.reset();
    if (bus_)
        closing();
    bus_.reset();
}

} // namespace vitrel
