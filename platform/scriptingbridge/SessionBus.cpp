#include "platform/scriptingbridge/SessionBus.h"

#include "platform/foundation/RunLoop.h"
#include "platform/messagebus/BusConnection.h"
#include "platform/scriptingbridge/BusValues.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <set>
#include <vector>

#include <sdbus-c++/sdbus-c++.h>

namespace vitrel {
namespace {

const std::string kPrefix = "org.mpris.MediaPlayer2.";
const std::string kPlayerPath = "/org/mpris/MediaPlayer2";
const std::string kPlayerInterface = "org.mpris.MediaPlayer2.Player";
const std::string kProperties = "org.freedesktop.DBus.Properties";
const std::string kBus = "org.freedesktop.DBus";

constexpr std::chrono::seconds kPatience{2};
// More players than anybody runs; each costs the bus a match rule.
constexpr std::size_t kMaximumPlayers = 64;

using Variants = std::map<std::string, sdbus::Variant>;

bool isPlayer(const std::string& name)
{
    return name.compare(0, kPrefix.size(), kPrefix) == 0;
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

    PlayerBusListener* listener = nullptr;

private:
    struct Player {
        std::unique_ptr<sdbus::IProxy> proxy;
        bool knowsProcess = false; // or never will
        bool hasProperties = false;
        bool answered = false; // the listener knows it
        bool silent = false; // has let the time for an answer go by
        std::int64_t process = 0;
        Dictionary properties;
    };

    void opened(sdbus::IConnection& bus) override;
    void closing() override;
    void ownerChanged(const std::string& name, const std::string& newOwner);
    void playerCame(const std::string& name);
    void playerWent(const std::string& name);
    void ask(const std::string& name, Player& player);
    void propertiesChanged(const std::string& name, sdbus::Signal& signal);
    void propertiesCame(const std::string& name, const Dictionary& properties);
    void tellIfComplete(const std::string& name, Player& player);
    Player* playerNamed(const std::string& name)
    {
        const auto found = players_.find(name);
        return found == players_.end() ? nullptr : &found->second;
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
    names_ = sdbus::createProxy(*bus_, kBus, "/org/freedesktop/DBus");
    // All callbacks run in turns of the connection, which holds this object meanwhile.
    names_->registerSignalHandler(kBus, "NameOwnerChanged", [this](sdbus::Signal& signal) {
        try {
            std::string name, oldOwner, newOwner;
            signal >> name >> oldOwner >> newOwner;
            ownerChanged(name, newOwner);
        } catch (const sdbus::Error&) { }
    });
    names_->finishRegistration();
    // Listed after the watch began, so that none slips between.
    names_->callMethodAsync("ListNames")
        .onInterface(kBus)
        .withTimeout(kPatience)
        .uponReplyInvoke([this](const sdbus::Error*, const std::vector<std::string>& names) {
            listed_ = true;
            for (const std::string& name : names) {
                if (isPlayer(name))
                    playerCame(name.substr(kPrefix.size()));
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
        playerCame(shortName);
}

void SessionBus::Connection::playerCame(const std::string& name)
{
    // playerctld repeats what another player says.
    if (name == "playerctld" || playerNamed(name) || players_.size() >= kMaximumPlayers)
        return;
    try {
        Player player;
        player.proxy = sdbus::createProxy(*bus_, kPrefix + name, kPlayerPath);
        player.proxy->registerSignalHandler(
            kProperties, "PropertiesChanged", [this, name](sdbus::Signal& signal) { propertiesChanged(name, signal); });
        player.proxy->registerSignalHandler(kPlayerInterface, "Seeked", [this, name](sdbus::Signal& signal) {
            try {
                std::int64_t position = 0;
                signal >> position;
                if (const Player* player = playerNamed(name); player && player->answered && listener)
                    listener->playerSeeked(name, static_cast<double>(position) / 1e6);
            } catch (const sdbus::Error&) { }
        });
        player.proxy->finishRegistration();
        Player& entry = players_[name] = std::move(player);
        names_->callMethodAsync("GetConnectionUnixProcessID")
            .onInterface(kBus)
            .withTimeout(kPatience)
            .withArguments(kPrefix + name)
            .uponReplyInvoke([this, name](const sdbus::Error* error, std::uint32_t process) {
                if (Player* player = playerNamed(name)) {
                    player->knowsProcess = true;
                    player->process = error ? 0 : process;
                    tellIfComplete(name, *player);
                }
            });
        ask(name, entry);
    } catch (const sdbus::Error&) {
        players_.erase(name);
    }
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
        .uponReplyInvoke([this, name](const sdbus::Error* error, const Variants& properties) {
            if (!error)
                propertiesCame(name, dictionaryOf(properties));
            else if (Player* player = playerNamed(name))
                player->silent = true;
        });
}

void SessionBus::Connection::propertiesChanged(const std::string& name, sdbus::Signal& signal)
{
    try {
        std::string interface;
        Variants changed;
        std::vector<std::string> invalidated;
        signal >> interface >> changed >> invalidated;
        Player* player = playerNamed(name);
        if (interface != kPlayerInterface || !player)
            return;
        // A player that never answered, or that says only that something changed, is asked for all of it.
        if (!invalidated.empty() || !player->hasProperties)
            ask(name, *player);
        if (player->hasProperties && !changed.empty())
            propertiesCame(name, dictionaryOf(changed));
    } catch (const sdbus::Error&) { }
}

void SessionBus::Connection::propertiesCame(const std::string& name, const Dictionary& properties)
{
    Player* player = playerNamed(name);
    if (!player || !listener)
        return;
    if (player->answered) {
        listener->playerChanged(name, properties);
        return;
    }
    player->hasProperties = true;
    for (const auto& [key, value] : properties)
        player->properties[key] = value;
    tellIfComplete(name, *player);
}

void SessionBus::Connection::tellIfComplete(const std::string& name, Player& player)
{
    if (player.answered || !player.knowsProcess || !player.hasProperties || !listener)
        return;
    player.answered = true;
    listener->playerAppeared(name, player.process, std::exchange(player.properties, {}));
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

bool SessionBus::isConnected() const
{
    return connection_->isOpen();
}

} // namespace vitrel
