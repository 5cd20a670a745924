#include "platform/scriptingbridge/MprisPlayers.h"

#include "platform/foundation/NSDistributedNotificationCenter.h"
#include "platform/foundation/Queue.h"
#include "platform/foundation/Surroundings.h"

#include <algorithm>

namespace vitrel {
namespace {

// A player that is asked at the very end of its track may not have gone on yet.
constexpr Seconds kAfterTheEnd{0.5};

bool isSameTrack(const SBTrack& a, const SBTrack& b)
{
    const auto bytes = [](const SBTrack& track) {
        return track.artworks.empty() ? nullptr : track.artworks.front()->rawData().get();
    };
    return a.name == b.name && a.artist == b.artist && a.album == b.album && a.genre == b.genre
        && a.composer == b.composer && a.time == b.time && a.year == b.year && a.trackNumber == b.trackNumber
        && a.discNumber == b.discNumber && a.rating == b.rating && a.playedCount == b.playedCount
        && a.artworks.size() == b.artworks.size() && bytes(a) == bytes(b);
}

} // namespace

// Answers from what the players said last; outlives them if it must, as a player that has gone.
class MprisPlayers::Application final : public SBApplication
{
public:
    bool isRunning() const override { return running; }
    std::uint32_t playerState() const override { return state; }
    double playerPosition() const override { return position ? position() : 0; }
    std::shared_ptr<SBTrack> currentTrack() const override { return track; }

    std::function<double()> position;
    bool running = false;
    std::uint32_t state = 0;
    std::shared_ptr<SBTrack> track;
};

MprisPlayers::MprisPlayers(
    const PlayerSurroundings& surroundings, std::unique_ptr<PlayerBus> bus, std::string preferred)
    : surroundings_(surroundings)
    , preferred_(std::move(preferred))
    , artwork_(*surroundings.runLoop, *surroundings.artworkQueue, surroundings.artworkReader, [this] { update(); })
    , application_(std::make_shared<Application>())
    , bus_(std::move(bus))
{
    application_->position = [this] {
        const PlayerRecord* player = chosen();
        return player ? player->positionAt(now()) : 0.0;
    };
    bus_->start(*this);
}

MprisPlayers::~MprisPlayers()
{
    send(holdTimer_, &NSTimer::invalidate);
    send(askTimer_, &NSTimer::invalidate);
    alive_.reset();
    bus_.reset();
    application_->position = nullptr;
    application_->running = false;
    application_->state = 0;
    application_->track.reset();
}

std::shared_ptr<SBApplication> MprisPlayers::applicationWithBundleIdentifier(const std::string& identifier)
{
    identifier_ = identifier;
    return application_;
}

void MprisPlayers::settle(Seconds limit)
{
    const Seconds end = now() + limit;
    while (!bus_->isSettled() || updatePending_ || artwork_.isReading()) {
        const Seconds left = end - now();
        if (left <= Seconds(0))
            return;
        surroundings_.runLoop->wait(left);
        surroundings_.runLoop->turn();
    }
}

std::vector<std::string> MprisPlayers::runningApplications() const
{
    if (!application_->running)
        return {};
    return {identifier_};
}

std::vector<std::string> MprisPlayers::names() const
{
    std::vector<std::string> out;
    const PlayerRecord* first = chosen();
    if (first)
        out.push_back(first->name);
    for (const PlayerRecord& player : players_) {
        if (&player != first)
            out.push_back(player.name);
    }
    return out;
}

Seconds MprisPlayers::now() const
{
    return surroundings_.clock->now();
}

PlayerRecord* MprisPlayers::playerNamed(const std::string& name)
{
    const auto found = std::find_if(
        players_.begin(), players_.end(), [&](const PlayerRecord& player) { return player.name == name; });
    return found == players_.end() ? nullptr : &*found;
}

void MprisPlayers::playerAppeared(const std::string& name, const PlayerArrival& arrival, const Dictionary& properties)
{
    playerVanished(name);
    // They answer in any order.
    const auto place = std::find_if(players_.begin(), players_.end(), [&](const PlayerRecord& player) {
        return arrival.connection != 0 && player.arrival.connection > arrival.connection;
    });
    players_.insert(place, PlayerRecord(name, arrival, properties, now(), order_));
    changed();
}

void MprisPlayers::playerChanged(const std::string& name, const Dictionary& properties)
{
    if (PlayerRecord* player = playerNamed(name)) {
        player->take(properties, now(), order_);
        changed();
    }
}

void MprisPlayers::playerSeeked(const std::string& name, double position)
{
    if (PlayerRecord* player = playerNamed(name)) {
        player->position = position;
        player->positionTime = now();
    }
}

void MprisPlayers::playerVanished(const std::string& name)
{
    if (std::erase_if(players_, [&](const PlayerRecord& player) { return player.name == name; }) > 0)
        changed();
}

// What came in one turn is told as one.
void MprisPlayers::changed()
{
    if (std::exchange(updatePending_, true))
        return;
    surroundings_.runLoop->post([this, weak = std::weak_ptr(alive_)] {
        if (!weak.expired())
            update();
    });
}

void MprisPlayers::update()
{
    updatePending_ = false;
    send(holdTimer_, &NSTimer::invalidate);
    const PlayerRecord* player = chosen();
    // At once, though its track be held: some players delete a cover's file after a moment.
    artwork_.want(player ? player->metadata.identity : "", player ? player->metadata.artAddress : "");
    askIfSilent(player);
    if (const auto end = player ? heldUntil(*player) : std::nullopt) {
        holdTimer_ = surroundings_.runLoop->scheduledTimer(*end - now(), false, [this] { update(); });
        Shown same = shown_;
        same.state = player->state;
        if (player->name == shown_.name && !player->plays())
            show(std::move(same));
        return;
    }
    hold_.reset();
    show(player ? Shown{player->name, player->metadata.identity, player->revisions, player->state,
             player->metadata.length, trackOf(*player)}
                : Shown{});
}

std::optional<Seconds> MprisPlayers::heldUntil(const PlayerRecord& player)
{
    std::optional<Seconds> end;
    const bool isShown = player.name == shown_.name;
    if (player.plays() && !(isShown && shown_.state == kPlayerStatePlaying))
        end = player.playChangeEnd();
    if (isShown && player.metadata.identity == shown_.identity && player.revisions == shown_.revisions)
        hold_.reset();
    else if (player.trackBegan && (!hold_ || hold_->name != player.name))
        hold_ = Hold{player.name, *player.trackBegan};
    // A change of the same player that comes meanwhile waits for no longer: who skips through tracks sees some of them.
    if (hold_) {
        const bool waitsForCover = artwork_.isPending() && isLocalArtwork(player.metadata.artAddress);
        // To the microsecond: most probably it hasn't said the new one yet.
        const bool hasOldLength = isShown && player.metadata.identity != shown_.identity && player.metadata.length > 0
            && player.metadata.length == shown_.length;
        const Seconds trackEnd = hold_->began + (waitsForCover || hasOldLength ? kLongestHold : kTrackChangeTime);
        end = std::max(end.value_or(trackEnd), trackEnd);
    }
    return end && now() < *end ? end : std::nullopt;
}

void MprisPlayers::askIfSilent(const PlayerRecord* player)
{
    send(askTimer_, &NSTimer::invalidate);
    if (!player || !bus_->isSilent(player->name)) {
        silent_.reset();
        return;
    }
    if (!silent_ || silent_->name != player->name)
        silent_ = Silent{player->name, now()};
    Seconds due = silent_->asked + kAskInterval;
    const double left = player->metadata.length - player->positionAt(now());
    if (player->plays() && left > 0 && player->rate > 0)
        due = std::min(due, now() + Seconds(left / player->rate) + kAfterTheEnd);
    askTimer_ = surroundings_.runLoop->scheduledTimer(due - now(), false, [this] {
        silent_->asked = now();
        bus_->ask(silent_->name);
        askIfSilent(chosen());
    });
}

void MprisPlayers::show(Shown next)
{
    const bool same = next.name == shown_.name && next.state == shown_.state && next.identity == shown_.identity
        && !next.track == !shown_.track && (!next.track || isSameTrack(*next.track, *shown_.track));
    if (same)
        return;
    shown_ = std::move(next);
    application_->running = !shown_.name.empty();
    application_->state = shown_.state;
    application_->track = shown_.track;
    post();
}

void MprisPlayers::post()
{
    if (identifier_.empty() || !surroundings_.notificationCenter)
        return;
    Dictionary info;
    info["Player State"] = shown_.state == kPlayerStatePlaying ? "Playing"
        : shown_.state == kPlayerStatePaused                   ? "Paused"
                                                               : "Stopped";
    info["Artwork Count"] = shown_.track ? static_cast<std::int64_t>(shown_.track->artworks.size()) : 0;
    if (shown_.track) {
        info["Name"] = shown_.track->name;
        info["Artist"] = shown_.track->artist;
        info["Album"] = shown_.track->album;
    }
    surroundings_.notificationCenter->postNotificationNameObjectUserInfo(
        identifier_ + ".playerInfo", identifier_ + ".player", std::move(info));
}

std::shared_ptr<SBTrack> MprisPlayers::trackOf(const PlayerRecord& player) const
{
    auto track = std::make_shared<SBTrack>();
    const SBTrack& from = *player.metadata.track;
    track->name = from.name;
    track->artist = from.artist;
    track->album = from.album;
    track->genre = from.genre;
    track->composer = from.composer;
    track->time = from.time;
    track->year = from.year;
    track->trackNumber = from.trackNumber;
    track->discNumber = from.discNumber;
    track->rating = from.rating;
    track->playedCount = from.playedCount;
    // One that can't be had counts as none.
    const FetchedArtwork& artwork = artwork_.artwork();
    if (!player.metadata.artAddress.empty() && (artwork.image || artwork_.isPending()))
        track->artworks.push_back(std::make_shared<SBArtwork>(artwork.bytes, artwork.image));
    return track;
}

} // namespace vitrel
