#include "platform/scriptingbridge/MprisPlayers.h"

#include "platform/foundation/NSDistributedNotificationCenter.h"
#include "platform/foundation/Queue.h"
#include "platform/foundation/Surroundings.h"

#include <algorithm>

namespace vitrel {
namespace {

// How many covers are kept for a way back to their tracks, and what they may take together.
constexpr std::size_t kKeptArtworks = 6;
constexpr std::size_t kKeptBytes = std::size_t(32) << 20;
// Players name a file before they have written it.
constexpr int kFetchAttempts = 4;
constexpr Seconds kFetchPause{1};

constexpr const char* kBrowsers[] = {"chromium", "chrome", "google-chrome", "firefox", "librewolf", "brave", "vivaldi",
    "opera", "edge", "msedge", "microsoft-edge", "epiphany", "plasma-browser-integration", "falkon", "qutebrowser"};

std::string lowerCase(std::string text)
{
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
}

// "mpv" names "mpv" and "mpv.instance12".
bool isNamed(const std::string& name, const std::string& wanted)
{
    const std::string whole = lowerCase(name), head = lowerCase(wanted);
    return whole == head || whole.starts_with(head + ".");
}

bool isBrowser(const std::string& name)
{
    return std::any_of(
        std::begin(kBrowsers), std::end(kBrowsers), [&](const char* browser) { return isNamed(name, browser); });
}

std::uint32_t stateNamed(const std::string& status)
{
    const std::string text = lowerCase(status);
    return text == "playing" ? kPlayerStatePlaying : text == "paused" ? kPlayerStatePaused : kPlayerStateStopped;
}

const Value* member(const Dictionary& members, const char* key)
{
    const auto found = members.find(key);
    return found == members.end() ? nullptr : &found->second;
}

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

MprisPlayers::MprisPlayers(const Surroundings& surroundings, std::unique_ptr<PlayerBus> bus, std::string preferred)
    : surroundings_(surroundings)
    , preferred_(std::move(preferred))
    , application_(std::make_shared<Application>())
    , bus_(std::move(bus))
{
    application_->position = [this] {
        const Player* player = chosen();
        return player ? positionOf(*player) : 0.0;
    };
    bus_->start(*this);
}

MprisPlayers::~MprisPlayers()
{
    *stop_ = true;
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
    const Seconds end = surroundings_.clock->now() + limit;
    while (!bus_->isSettled() || updatePending_ || fetching_) {
        const Seconds left = end - surroundings_.clock->now();
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
    const Player* first = chosen();
    if (first)
        out.push_back(first->name);
    for (const Player& player : players_) {
        if (&player != first)
            out.push_back(player.name);
    }
    return out;
}

MprisPlayers::Player* MprisPlayers::playerNamed(const std::string& name)
{
    const auto found
        = std::find_if(players_.begin(), players_.end(), [&](const Player& player) { return player.name == name; });
    return found == players_.end() ? nullptr : &*found;
}

void MprisPlayers::playerAppeared(const std::string& name, const PlayerArrival& arrival, const Dictionary& properties)
{
    playerVanished(name);
    Player player;
    player.name = name;
    player.process = arrival.process;
    player.metadata = trackMetadata({});
    player.positionTime = surroundings_.clock->now();
    players_.push_back(std::move(player));
    take(players_.back(), properties);
    changed();
}

void MprisPlayers::playerChanged(const std::string& name, const Dictionary& properties)
{
    if (Player* player = playerNamed(name)) {
        take(*player, properties);
        changed();
    }
}

void MprisPlayers::playerSeeked(const std::string& name, double position)
{
    if (Player* player = playerNamed(name)) {
        player->position = position;
        player->positionTime = surroundings_.clock->now();
    }
}

void MprisPlayers::playerVanished(const std::string& name)
{
    if (std::erase_if(players_, [&](const Player& player) { return player.name == name; }) > 0)
        changed();
}

void MprisPlayers::take(Player& player, const Dictionary& properties)
{
    // Whatever changes, the way so far was made at the old rate.
    const double position = positionOf(player);
    if (const Value* metadata = member(properties, "Metadata")) {
        TrackMetadata taken = trackMetadata(metadata->dictionary() ? *metadata->dictionary() : Dictionary());
        player.position = taken.identity == player.metadata.identity ? position : 0;
        player.metadata = std::move(taken);
    } else {
        player.position = position;
    }
    player.positionTime = surroundings_.clock->now();
    if (const Value* rate = member(properties, "Rate"))
        player.rate = rate->number().value_or(1);
    if (const Value* now = member(properties, "Position"))
        player.position = now->number().value_or(0) / 1e6;
    if (const Value* status = member(properties, "PlaybackStatus")) {
        const auto* text = status->as<std::string>();
        setState(player, stateNamed(text ? *text : ""));
    }
}

void MprisPlayers::setState(Player& player, std::uint32_t state)
{
    if (player.state == state)
        return;
    player.state = state;
    player.changed = ++order_;
    if (state == kPlayerStatePlaying)
        player.played = order_;
}

double MprisPlayers::positionOf(const Player& player) const
{
    double position = player.position;
    if (player.state == kPlayerStatePlaying)
        position += (surroundings_.clock->now() - player.positionTime).count() * player.rate;
    position = std::max(position, 0.0);
    return player.metadata.length > 0 ? std::min(position, player.metadata.length) : position;
}

// One program under two names says everything twice; the shorter name counts.
bool MprisPlayers::isShadow(const Player& player) const
{
    return player.process != 0 && std::any_of(players_.begin(), players_.end(), [&](const Player& other) {
        return &other != &player && other.process == player.process
            && (other.name.size() < player.name.size()
                || (other.name.size() == player.name.size() && other.name < player.name));
    });
}

bool MprisPlayers::isPreferred(const Player& player) const
{
    return !preferred_.empty() && isNamed(player.name, preferred_);
}

bool MprisPlayers::isBetter(const Player& one, const Player& other) const
{
    const auto rank = [&](const Player& player) {
        const bool plays = player.state == kPlayerStatePlaying;
        return std::make_tuple(
            isPreferred(player), plays, plays && !isBrowser(player.name), plays ? player.changed : player.played);
    };
    return rank(one) > rank(other);
}

const MprisPlayers::Player* MprisPlayers::chosen() const
{
    const Player* best = nullptr;
    for (const Player& player : players_) {
        if (!isShadow(player) && (!best || isBetter(player, *best)))
            best = &player;
    }
    return best;
}

// Players say one change in several messages; they are told as one.
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
    const Player* player = chosen();
    Shown now;
    if (player) {
        now.name = player->name;
        now.identity = player->metadata.identity;
        now.state = player->state;
        now.track = trackOf(*player);
    } else {
        wantedKey_.clear();
        fetching_ = false;
    }
    const bool same = now.name == shown_.name && now.state == shown_.state && now.identity == shown_.identity
        && !now.track == !shown_.track && (!now.track || isSameTrack(*now.track, *shown_.track));
    if (same)
        return;
    shown_ = now;
    application_->running = player != nullptr;
    application_->state = now.state;
    application_->track = now.track;
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

std::shared_ptr<SBTrack> MprisPlayers::trackOf(const Player& player)
{
    const TrackMetadata& metadata = player.metadata;
    auto track = std::make_shared<SBTrack>();
    const SBTrack& from = *metadata.track;
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
    if (metadata.artAddress.empty()) {
        wantedKey_.clear();
        fetching_ = false;
        return track;
    }
    if (shownArtIdentity_ != metadata.identity) {
        shownArtIdentity_ = metadata.identity;
        shownArt_ = {};
    }
    const std::string key = metadata.identity + metadata.artAddress;
    if (key != wantedKey_) {
        wantedKey_ = key;
        fetching_ = false;
        if (const FetchedArtwork* known = artworkFor(key)) {
            if (known->pixels >= shownArt_.pixels)
                shownArt_ = *known;
        } else {
            fetch(player, 1);
        }
    }
    track->artworks.push_back(std::make_shared<SBArtwork>(shownArt_.bytes));
    return track;
}

const FetchedArtwork* MprisPlayers::artworkFor(const std::string& key) const
{
    const auto found = std::find_if(fetched_.begin(), fetched_.end(), [&](const Art& art) { return art.key == key; });
    return found == fetched_.end() ? nullptr : &found->artwork;
}

void MprisPlayers::fetch(const Player& player, int attempt)
{
    fetching_ = true;
    // The worker touches nothing of this; what comes of it is dropped if this is gone by then.
    surroundings_.userInitiatedQueue->async(
        [this, weak = std::weak_ptr(alive_), stop = stop_, loop = surroundings_.runLoop, key = wantedKey_,
            identity = player.metadata.identity, address = player.metadata.artAddress, attempt] {
            auto artwork = fetchArtwork(address, *stop);
            if (*stop)
                return;
            loop->post([this, weak, key, identity, address, attempt, artwork] {
                if (!weak.expired())
                    artworkCame(key, identity, address, attempt, artwork);
            });
        });
}

void MprisPlayers::artworkCame(const std::string& key, const std::string& identity, const std::string& address,
    int attempt, FetchedArtwork artwork)
{
    if (key != wantedKey_)
        return; // the track has moved on, and its file may hold another's cover by now
    if (!artwork.bytes) {
        fetching_ = false;
        if (attempt >= kFetchAttempts || address.starts_with("data:"))
            return;
        surroundings_.runLoop->postAfter(kFetchPause, [this, weak = std::weak_ptr(alive_), key, attempt] {
            const Player* player = weak.expired() ? nullptr : chosen();
            if (player && key == wantedKey_ && !artworkFor(key))
                fetch(*player, attempt + 1);
        });
        return;
    }
    fetching_ = false;
    fetched_.push_front({key, artwork});
    std::size_t bytes = 0, kept = 0;
    for (const Art& art : fetched_) {
        bytes += art.artwork.bytes->size();
        if (bytes > kKeptBytes && kept > 0)
            break;
        ++kept;
    }
    fetched_.resize(std::min(kept, kKeptArtworks));
    if (identity == shownArtIdentity_ && (artwork.pixels >= shownArt_.pixels || !shownArt_.bytes))
        shownArt_ = std::move(artwork);
    update();
}

} // namespace vitrel
