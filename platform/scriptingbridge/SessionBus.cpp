#include "platform/scriptingbridge/SessionBus.h"

#include "platform/foundation/RunLoop.h"
#include "platform/messagebus/BusConnection.h"
#include "platform/messagebus/BusTypes.h"
#include "platform/scriptingbridge/BusValues.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <map>
#include <vector>

namespace vitrel {
namespace {

const std::string kPrefix = "org.mpris.MediaPlayer2.";
constexpr const char* kPlayerPath = "/org/mpris/MediaPlayer2";
constexpr const char* kPlayerInterface = "org.mpris.MediaPlayer2.Player";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
constexpr const char* kBus = "org.freedesktop.DBus";

constexpr std::chrono::seconds kPatience{2};
// More players than anybody runs; each costs the bus a match rule.
constexpr std::size_t kMaximumPlayers = 64;

using Variants = std::map<std::string, sdbus::Variant>;

bool isPlayer(const std::string& name)
{
    return name.compare(0, kPrefix.size(), kPrefix) == 0;
}

// The bus numbers its connections as they come: the last part of ":1.57". 0 for what it doesn't name so.
std::uint64_t numberOf(const std::string& owner)
{
    std::uint64_t number = 0;
    std::from_chars(owner.data() + owner.rfind('.') + 1, owner.data() + owner.size(), number);
    return number;
}

} // namespace

class SessionBus::Connection : public BusConnection
{
public:
    Connection(RunLoop& loop, Seconds retryInterval)
        : BusConnection(loop, Kind::session, {retryInterval, retryInterval})
    { }
    ~Connection() override { close(); }

    bool isSettled() const
    {
        return !bus_ || (listed_ && std::all_of(players_.begin(), players_.end(), [](const auto& entry) {
            return entry.second.answered || entry.second.silent;
        }));
    }

    bool isSilent(const std::string& name)
    {
        const Player* player = playerNamed(name);
        return player && player->answered && !player->signals;
    }

    void askAgain(const std::string& name)
    {
        try {
            if (Player* player = playerNamed(name); player && player->answered)
                ask(name, *player);
            arm();
        } catch (const sdbus::Error&) { } // a connection that is lost is noticed where it is read
    }

    PlayerBusListener* listener = nullptr;

private:
    struct Player {
        std::string owner; // the connection that has the name; empty until the bus has told
        std::unique_ptr<sdbus::IProxy> proxy; // null as long
        bool wasThere = false;
        bool knowsProcess = false; // or never will
        bool hasProperties = false;
        bool answered = false; // the listener knows it
        bool silent = false; // has let the time for an answer go by
        bool signals = false; // has told a change of its own accord
        std::int64_t process = 0;
        Dictionary properties;
    };

    void opened(sdbus::IConnection& bus) override;
    void closing() override;
    void ownerChanged(const std::string& name, const std::string& newOwner);
    void playerFound(const std::string& name);
    void playerCame(const std::string& name, const std::string& owner, bool wasThere);
    void playerWent(const std::string& name);
    std::unique_ptr<sdbus::IProxy> proxyOf(const std::string& name, const std::string& owner);
    void askForProcess(const std::string& name, const std::string& owner);
    void ask(const std::string& name, Player& player);
    void propertiesChanged(const std::string& name, Player& player, sdbus::Signal& signal);
    void propertiesCame(const std::string& name, Player& player, const Dictionary& properties);
    void tellIfComplete(const std::string& name, Player& player);
    Player* playerNamed(const std::string& name)
    {
        const auto found = players_.find(name);
        return found == players_.end() ? nullptr : &found->second;
    }
    // Null if the name has passed to another since `owner` was asked, or spoke.
    Player* playerOf(const std::string& name, const std::string& owner)
    {
        Player* player = playerNamed(name);
        return player && player->owner == owner ? player : nullptr;
    }

    sdbus::IConnection* bus_ = nullptr; // its; null without one
    std::unique_ptr<sdbus::IProxy> names_;
    std::map<std::string, Player> players_;
    std::vector<std::unique_ptr<sdbus::IProxy>> gone_; // may be inside their own callback
    bool listed_ = false;
};

void SessionBus::Connection::opened(sdbus::IConnection& bus)
{
    bus_ = &bus;
    names_ = sdbus::createProxy(*bus_, BusName(kBus), sdbus::ObjectPath("/org/freedesktop/DBus"));
    // All callbacks run in turns of the connection, which holds this object meanwhile.
    onSignal(*names_, kBus, "NameOwnerChanged", [this](sdbus::Signal& signal) {
        try {
            std::string name, oldOwner, newOwner;
            signal >> name >> oldOwner >> newOwner;
            ownerChanged(name, newOwner);
        } catch (const sdbus::Error&) { }
    });
    finish(*names_);
    // Listed after the watch began, so that none slips between.
    names_->callMethodAsync("ListNames")
        .onInterface(kBus)
        .withTimeout(kPatience)
        .uponReplyInvoke([this](BusError, const std::vector<std::string>& names) {
            listed_ = true;
            for (const std::string& name : names) {
                if (isPlayer(name))
                    playerFound(name.substr(kPrefix.size()));
            }
        });
}

void SessionBus::Connection::ownerChanged(const std::string& name, const std::string& newOwner)
{
    if (!isPlayer(name))
        return;
    const std::string shortName = name.substr(kPrefix.size());
    // A name that passes from one owner to another is another player.
    playerWent(shortName);
    if (!newOwner.empty())
        playerCame(shortName, newOwner, false);
}

// A name that was there before the watch began: who has it is asked. It counts as on its way meanwhile.
void SessionBus::Connection::playerFound(const std::string& name)
{
    // playerctld repeats what another player says.
    if (name == "playerctld" || playerNamed(name) || players_.size() >= kMaximumPlayers)
        return;
    players_.try_emplace(name);
    try {
        names_->callMethodAsync("GetNameOwner")
            .onInterface(kBus)
            .withTimeout(kPatience)
            .withArguments(kPrefix + name)
            .uponReplyInvoke([this, name](BusError error, const std::string& owner) {
                // Who came meanwhile has an owner already.
                if (!playerOf(name, {}))
                    return;
                players_.erase(name);
                if (!error)
                    playerCame(name, owner, true);
            });
    } catch (const sdbus::Error&) {
        players_.erase(name);
    }
}

void SessionBus::Connection::playerCame(const std::string& name, const std::string& owner, bool wasThere)
{
    if (name == "playerctld" || playerNamed(name) || players_.size() >= kMaximumPlayers)
        return;
    try {
        Player player;
        player.owner = owner;
        player.wasThere = wasThere;
        player.proxy = proxyOf(name, owner);
        Player& entry = players_[name] = std::move(player);
        askForProcess(name, owner);
        ask(name, entry);
    } catch (const sdbus::Error&) {
        players_.erase(name);
    }
}

// On the name of the connection, which signals carry as their sender: the bus library can't tell whose they are by the
// name that players are known by, and hands those of each to the handlers of all.
std::unique_ptr<sdbus::IProxy> SessionBus::Connection::proxyOf(const std::string& name, const std::string& owner)
{
    auto proxy = sdbus::createProxy(*bus_, BusName(owner), sdbus::ObjectPath(kPlayerPath));
    onSignal(*proxy, kProperties, "PropertiesChanged", [this, name, owner](sdbus::Signal& signal) {
        if (Player* player = playerOf(name, owner))
            propertiesChanged(name, *player, signal);
    });
    onSignal(*proxy, kPlayerInterface, "Seeked", [this, name, owner](sdbus::Signal& signal) {
        try {
            std::int64_t position = 0;
            signal >> position;
            if (const Player* player = playerOf(name, owner); player && player->answered && listener)
                listener->playerSeeked(name, static_cast<double>(position) / 1e6);
        } catch (const sdbus::Error&) { }
    });
    finish(*proxy);
    return proxy;
}

void SessionBus::Connection::askForProcess(const std::string& name, const std::string& owner)
{
    names_->callMethodAsync("GetConnectionUnixProcessID")
        .onInterface(kBus)
        .withTimeout(kPatience)
        .withArguments(owner)
        .uponReplyInvoke([this, name, owner](BusError error, std::uint32_t process) {
            if (Player* player = playerOf(name, owner)) {
                player->knowsProcess = true;
                player->process = error ? 0 : process;
                tellIfComplete(name, *player);
            }
        });
}

void SessionBus::Connection::playerWent(const std::string& name)
{
    Player* player = playerNamed(name);
    if (!player)
        return;
    const bool wasKnown = player->answered;
    gone_.push_back(std::move(player->proxy));
    loop().post([weak = weak_from_this()] {
        if (const auto connection = weak.lock())
            static_cast<Connection&>(*connection).gone_.clear();
    });
    players_.erase(name);
    if (wasKnown && listener)
        listener->playerVanished(name);
}

void SessionBus::Connection::ask(const std::string& name, Player& player)
{
    player.proxy->callMethodAsync("GetAll")
        .onInterface(kProperties)
        .withTimeout(kPatience)
        .withArguments(kPlayerInterface)
        .uponReplyInvoke([this, name, owner = player.owner](BusError error, const Variants& properties) {
            Player* player = playerOf(name, owner);
            if (player && !error)
                propertiesCame(name, *player, dictionaryOf(properties));
            else if (player)
                player->silent = true;
        });
}

void SessionBus::Connection::propertiesChanged(const std::string& name, Player& player, sdbus::Signal& signal)
{
    try {
        std::string interface;
        Variants changed;
        std::vector<std::string> invalidated;
        signal >> interface >> changed >> invalidated;
        if (interface != kPlayerInterface)
            return;
        player.signals = true;
        // A player that never answered, or that says only that something changed, is asked for all of it.
        if (!invalidated.empty() || !player.hasProperties)
            ask(name, player);
        if (player.hasProperties && !changed.empty())
            propertiesCame(name, player, dictionaryOf(changed));
    } catch (const sdbus::Error&) { }
}

void SessionBus::Connection::propertiesCame(const std::string& name, Player& player, const Dictionary& properties)
{
    if (!listener)
        return;
    if (player.answered) {
        listener->playerChanged(name, properties);
        return;
    }
    player.hasProperties = true;
    for (const auto& [key, value] : properties)
        player.properties[key] = value;
    tellIfComplete(name, player);
}

void SessionBus::Connection::tellIfComplete(const std::string& name, Player& player)
{
    if (player.answered || !player.knowsProcess || !player.hasProperties || !listener)
        return;
    player.answered = true;
    const PlayerArrival arrival{player.process, numberOf(player.owner), player.wasThere};
    listener->playerAppeared(name, arrival, std::exchange(player.properties, {}));
}

void SessionBus::Connection::closing()
{
    std::vector<std::string> known;
    for (const auto& [name, player] : players_) {
        if (player.answered)
            known.push_back(name);
    }
    players_.clear();
    gone_.clear();
    names_.reset();
    bus_ = nullptr;
    listed_ = false;
    for (const std::string& name : known) {
        if (listener)
            listener->playerVanished(name);
    }
}

SessionBus::SessionBus(RunLoop& loop, Seconds retryInterval)
    : connection_(std::make_shared<Connection>(loop, retryInterval))
{ }

SessionBus::~SessionBus()
{
    connection_->listener = nullptr;
}

void SessionBus::start(PlayerBusListener& listener)
{
    connection_->listener = &listener;
    connection_->open();
}

bool SessionBus::isSettled() const
{
    return connection_->isSettled();
}

bool SessionBus::isSilent(const std::string& name) const
{
    return connection_->isSilent(name);
}

void SessionBus::ask(const std::string& name)
{
    connection_->askAgain(name);
}

bool SessionBus::isConnected() const
{
    return connection_->isOpen();
}

} // namespace vitrel
