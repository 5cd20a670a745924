#include "platform/scriptingbridge/PlayerRecord.h"

#include "base/Text.h"

#include <algorithm>
#include <tuple>

namespace vitrel {
namespace {

// Browsers, and what stands for players of other devices.
constexpr const char* kYielding[]
    = {"chromium", "chrome", "google-chrome", "firefox", "librewolf", "brave", "vivaldi", "opera", "edge", "msedge",
        "microsoft-edge", "epiphany", "plasma-browser-integration", "falkon", "qutebrowser", "kdeconnect"};

bool yields(const PlayerRecord& player)
{
    return std::any_of(std::begin(kYielding), std::end(kYielding),
        [&](const char* other) { return isPlayerNamed(player.name, other); });
}

std::uint32_t stateNamed(const std::string& status)
{
    const std::string text = asciiLowercase(status);
    return text == "playing" ? kPlayerStatePlaying : text == "paused" ? kPlayerStatePaused : kPlayerStateStopped;
}

const Value* member(const Dictionary& members, const char* key)
{
    const auto found = members.find(key);
    return found == members.end() ? nullptr : &found->second;
}

// One program under two names says everything twice; the shorter name counts.
bool isShadow(const PlayerRecord& player, const std::vector<PlayerRecord>& players)
{
    return player.arrival.process != 0 && std::any_of(players.begin(), players.end(), [&](const PlayerRecord& other) {
        return &other != &player && other.arrival.process == player.arrival.process
            && (other.name.size() < player.name.size()
                || (other.name.size() == player.name.size() && other.name < player.name));
    });
}

// How much speaks for a player that doesn't play having played last, where its end wasn't seen.
std::uint64_t traces(const PlayerRecord& player)
{
    const bool hasTrack = !player.metadata.track->name.empty() || player.metadata.length > 0;
    return 8u * hasTrack + 4u * (player.state == kPlayerStatePaused) + 2u * (player.position > 0)
        + 1u * !yields(player);
}

} // namespace

PlayerRecord::PlayerRecord(
    std::string called, const PlayerArrival& from, const Dictionary& properties, Seconds now, std::uint64_t& order)
    : name(std::move(called))
    , arrival(from)
    , positionTime(now)
{
    take(properties, now, order);
    trackBegan = now;
    if (arrival.wasThere) { // before, and nobody knows when
        trackBegan.reset();
        playBegan.reset();
        began = 0;
    }
}

void PlayerRecord::take(const Dictionary& properties, Seconds now, std::uint64_t& order)
{
    // Whatever changes, the way so far was made at the old rate.
    position = positionAt(now);
    positionTime = now;
    if (const Value* value = member(properties, "PlaybackStatus")) {
        const auto* text = value->as<std::string>();
        takeState(stateNamed(text ? *text : ""), now, order);
    }
    if (const Value* value = member(properties, "Metadata"))
        takeTrack(trackMetadata(value->dictionary() ? *value->dictionary() : Dictionary()), now);
    if (const Value* value = member(properties, "Rate"))
        rate = value->number().value_or(1);
    if (const Value* value = member(properties, "Position"))
        position = value->number().value_or(0) / 1e6;
}

void PlayerRecord::takeState(std::uint32_t next, Seconds now, std::uint64_t& order)
{
    if (next == state)
        return;
    if (next == kPlayerStatePlaying) {
        began = ++order;
        playBegan = now;
    } else if (plays()) {
        ended = ++order;
    }
    state = next;
}

void PlayerRecord::takeTrack(TrackMetadata taken, Seconds now)
{
    const bool isOther = taken.identity != metadata.identity;
    const bool isRevised = taken.artAddress != metadata.artAddress || taken.length != metadata.length;
    if (isOther)
        position = 0;
    if (isRevised)
        ++revisions;
    // What comes within the time of a change is part of it.
    if ((isOther || isRevised) && (!trackBegan || now - *trackBegan >= kTrackChangeTime))
        trackBegan = playBegan && now - *playBegan < kTrackChangeTime ? playBegan : std::optional(now);
    metadata = std::move(taken);
}

std::optional<Seconds> PlayerRecord::playChangeEnd() const
{
    if (!playBegan)
        return std::nullopt;
    return *playBegan + (metadata.track->name.empty() ? kTrackChangeTime : kPlayChangeTime);
}

double PlayerRecord::positionAt(Seconds now) const
{
    const double way = plays() ? (now - positionTime).count() * rate : 0;
    const double at = std::max(position + way, 0.0);
    return metadata.length > 0 ? std::min(at, metadata.length) : at;
}

bool isPlayerNamed(const std::string& name, const std::string& wanted)
{
    const std::string whole = asciiLowercase(name), head = asciiLowercase(wanted);
    if (!whole.starts_with(head))
        return false;
    const std::string rest = whole.substr(head.size());
    const bool isNumber = rest.size() > 1 && rest.find_first_not_of("0123456789", 1) == std::string::npos;
    return rest.empty() || rest.front() == '.' || (rest.front() == '-' && isNumber);
}

const PlayerRecord* chosenPlayer(const std::vector<PlayerRecord>& players, const std::string& preferred)
{
    const auto rank = [&](const PlayerRecord& player) {
        const bool plays = player.plays();
        // Of those that have played all along the one that came last: it can't have begun before that.
        return std::make_tuple(!preferred.empty() && isPlayerNamed(player.name, preferred), plays,
            plays && !yields(player), plays ? player.began : player.ended,
            plays ? player.arrival.connection : traces(player));
    };
    const PlayerRecord* best = nullptr;
    for (const PlayerRecord& player : players) {
        if (!isShadow(player, players) && (!best || rank(player) > rank(*best)))
            best = &player;
    }
    return best;
}

} // namespace vitrel
