#pragma once

#include "base/Clock.h"
#include "platform/scriptingbridge/Metadata.h"
#include "platform/scriptingbridge/PlayerBus.h"
#include "platform/scriptingbridge/SBApplication.h"

#include <optional>
#include <string>
#include <vector>

namespace vitrel {

// So long a player may take to say all of a change of track: most say it in several messages, first a file's name or
// the length of the track before.
inline constexpr Seconds kTrackChangeTime{0.25};
// Some say first that they play, and then what: at once, if they have said of the last track what it was.
inline constexpr Seconds kPlayChangeTime{0.05};

// What one player has said, and when it played. Times are those of the run loop's clock.
struct PlayerRecord {
    std::string name;
    PlayerArrival arrival;
    std::uint32_t state = kPlayerStateStopped;
    TrackMetadata metadata = trackMetadata({});
    double position = 0; // seconds, at `positionTime`
    Seconds positionTime{0};
    double rate = 1;
    // When the first message of the change to its track came, and when it began to play; absent if that was before.
    std::optional<Seconds> trackBegan, playBegan;
    // How often its track was given other artwork, none, or another length: some players do so just before they name
    // another track.
    std::uint64_t revisions = 0;
    // When it last began and last ceased to play: order among all players, not time; 0 if that wasn't seen.
    std::uint64_t began = 0, ended = 0;

    PlayerRecord(std::string name, const PlayerArrival& arrival, const Dictionary& properties, Seconds now,
        std::uint64_t& order);
    bool plays() const { return state == kPlayerStatePlaying; }
    // What a player says may be of any kind. `order` counts up with what happens.
    void take(const Dictionary& properties, Seconds now, std::uint64_t& order);
    // Until when there may be more to come of a beginning to play; absent if nobody knows when it was.
    std::optional<Seconds> playChangeEnd() const;
    double positionAt(Seconds now) const; // seconds

private:
    void takeState(std::uint32_t next, Seconds now, std::uint64_t& order);
    void takeTrack(TrackMetadata taken, Seconds now);
};

// Whether a player's name is the wanted one: "mpv" names "mpv", "mpv.instance12" and "mpv-4711", whatever the case.
bool isPlayerNamed(const std::string& name, const std::string& wanted);

// The one to show of several that lie in the order of their coming: one named `preferred` before the others; then one
// that plays, an application on this machine before a browser or a remote device, the last that began; else the one
// that ended last. Of those whose end wasn't seen the one that most probably played last: one with a track before one
// without, a paused one before a stopped one, one within its track before one at its beginning, then the first. Null if
// there is none.
const PlayerRecord* chosenPlayer(const std::vector<PlayerRecord>& players, const std::string& preferred);

} // namespace vitrel
