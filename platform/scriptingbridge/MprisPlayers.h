#pragma once

#include "platform/foundation/RunLoop.h"
#include "platform/scriptingbridge/ArtworkLoader.h"
#include "platform/scriptingbridge/PlayerBus.h"
#include "platform/scriptingbridge/PlayerRecord.h"
#include "platform/scriptingbridge/SBApplication.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vitrel {

struct PlayerSurroundings;

// The one player that the system shows, of all that are on the bus (see chosenPlayer). What it says is kept here, so
// that the proxy answers at once. Each change of its state, its track, its artwork or its presence is posted as a
// distributed notification in the turn after; but a change of track, or of its cover or length, is held back until the
// player has had its time to say all of it (kTrackChangeTime), and on until a cover that lies on this machine has been
// read, or a length that is still the last track's has been corrected, at most for kLongestHold. Main thread.
class MprisPlayers final : public PlayerProvider, private PlayerBusListener
{
public:
    // From the first message of a change of track.
    static constexpr Seconds kLongestHold{0.4};
    // A player that never tells a change of its own accord is asked so often while it is shown, and when its track
    // should have ended.
    static constexpr Seconds kAskInterval{10};

    // `preferred` is a bus name without its prefix, as "mpv"; empty for none. `surroundings` give the run loop, the
    // queue for artwork and the notification center; they and the queue must outlive this.
    MprisPlayers(const PlayerSurroundings& surroundings, std::unique_ptr<PlayerBus> bus, std::string preferred = {});
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
    // What observers were last told.
    struct Shown {
        std::string name, identity;
        std::uint64_t revisions = 0;
        std::uint32_t state = 0;
        double length = 0;
        std::shared_ptr<SBTrack> track;
    };
    // A change of track that they weren't told yet.
    struct Hold {
        std::string name;
        Seconds began;
    };
    // A shown player that tells nothing.
    struct Silent {
        std::string name;
        Seconds asked;
    };

    void playerAppeared(const std::string& name, const PlayerArrival& arrival, const Dictionary& properties) override;
    void playerChanged(const std::string& name, const Dictionary& properties) override;
    void playerSeeked(const std::string& name, double position) override;
    void playerVanished(const std::string& name) override;

    Seconds now() const;
    PlayerRecord* playerNamed(const std::string& name);
    const PlayerRecord* chosen() const { return chosenPlayer(players_, preferred_); }
    void changed();
    void update();
    std::optional<Seconds> heldUntil(const PlayerRecord& player);
    void askIfSilent(const PlayerRecord* player);
    void show(Shown now);
    void post();
    std::shared_ptr<SBTrack> trackOf(const PlayerRecord& player) const;

    const PlayerSurroundings& surroundings_;
    const std::string preferred_;
    std::string identifier_;
    std::vector<PlayerRecord> players_; // in the order of their coming
    std::uint64_t order_ = 0;
    Shown shown_;
    std::optional<Hold> hold_;
    std::optional<Silent> silent_;
    std::shared_ptr<NSTimer> holdTimer_, askTimer_;
    bool updatePending_ = false;
    ArtworkLoader artwork_;
    std::shared_ptr<int> alive_ = std::make_shared<int>();
    std::shared_ptr<Application> application_;
    std::unique_ptr<PlayerBus> bus_; // last: it tells the above
};

} // namespace vitrel
