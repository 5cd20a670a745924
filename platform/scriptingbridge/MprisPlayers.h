#pragma once

#include "platform/foundation/RunLoop.h"
#include "platform/scriptingbridge/Artwork.h"
#include "platform/scriptingbridge/Metadata.h"
#include "platform/scriptingbridge/PlayerBus.h"
#include "platform/scriptingbridge/SBApplication.h"

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vitrel {

struct Surroundings;

// The one player that the system shows, of all that are on the bus: one named by the user before the others; then one
// that plays, an application before a browser, the last that began; else the one that played last; else the first.
// What it says is kept here, so that the proxy answers at once. Each change of its state, its track, its artwork or
// its presence is posted as a distributed notification in the turn after. Main thread.
class MprisPlayers final : public PlayerProvider, private PlayerBusListener
{
public:
    // `preferred` is a bus name without its prefix, as "mpv"; empty for none. `surroundings` give the run loop, the
    // queue that artwork is fetched on and the notification center; they and the queue must outlive this.
    MprisPlayers(const Surroundings& surroundings, std::unique_ptr<PlayerBus> bus, std::string preferred = {});
    ~MprisPlayers() override;

    std::shared_ptr<SBApplication> applicationWithBundleIdentifier(const std::string& identifier) override;

    // Turns the run loop until every player that is there has answered and the artwork of the shown one is there, at
    // most for `limit`. For a program's start, so that its first view finds the player. Real time.
    void settle(Seconds limit);

    // The identifier under which the player is asked for, while one runs: what lists of running applications show.
    std::vector<std::string> runningApplications() const;
    // Bus names of the players, the shown one first.
    std::vector<std::string> names() const;

private:
    class Application;
    struct Player {
        std::string name;
        std::int64_t process = 0;
        std::uint32_t state = kPlayerStateStopped;
        TrackMetadata metadata;
        double position = 0; // seconds, at `positionTime`
        Seconds positionTime{0};
        double rate = 1;
        std::uint64_t changed = 0; // when its state last changed, and when it last began to play: order, not time
        std::uint64_t played = 0;
    };
    // What observers were last told.
    struct Shown {
        std::string name, identity;
        std::uint32_t state = 0;
        std::shared_ptr<SBTrack> track;
    };
    struct Art {
        std::string key; // track and address
        FetchedArtwork artwork;
    };

    void playerAppeared(const std::string& name, const PlayerArrival& arrival, const Dictionary& properties) override;
    void playerChanged(const std::string& name, const Dictionary& properties) override;
    void playerSeeked(const std::string& name, double position) override;
    void playerVanished(const std::string& name) override;

    Player* playerNamed(const std::string& name);
    void take(Player& player, const Dictionary& properties);
    void setState(Player& player, std::uint32_t state);
    double positionOf(const Player& player) const;
    bool isShadow(const Player& player) const;
    bool isPreferred(const Player& player) const;
    bool isBetter(const Player& one, const Player& other) const;
    const Player* chosen() const;
    void changed();
    void update();
    void post();
    std::shared_ptr<SBTrack> trackOf(const Player& player);
    void fetch(const Player& player, int attempt);
    void artworkCame(const std::string& key, const std::string& identity, const std::string& address, int attempt,
        FetchedArtwork artwork);
    const FetchedArtwork* artworkFor(const std::string& key) const;

    const Surroundings& surroundings_;
    const std::string preferred_;
    std::string identifier_;
    std::vector<Player> players_; // in the order of their coming
    std::uint64_t order_ = 0;
    Shown shown_;
    bool updatePending_ = false;
    std::deque<Art> fetched_; // the last few, the newest in front
    std::string wantedKey_; // of the shown track; fetched, on its way, or failed
    bool fetching_ = false;
    std::string shownArtIdentity_; // the track that `shownArt_` belongs to
    FetchedArtwork shownArt_;
    std::shared_ptr<std::atomic<bool>> stop_ = std::make_shared<std::atomic<bool>>(false);
    std::shared_ptr<int> alive_ = std::make_shared<int>();
    std::shared_ptr<Application> application_;
    std::unique_ptr<PlayerBus> bus_; // last: it tells the above
};

} // namespace vitrel
