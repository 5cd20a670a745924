#pragma once

#include "base/Clock.h"
#include "platform/foundation/Value.h"
#include "platform/sound/SoundInput.h"

#include <functional>
#include <string>
#include <vector>

namespace vitrel {

// The inputs of the protocols that are fed here, by their names in them.
inline constexpr const char* kAudioPeak = "AudioPeak";
inline constexpr const char* kAudioSpectrum = "AudioSpectrum";
inline constexpr const char* kTrackInfo = "TrackInfo";
inline constexpr const char* kTrackPosition = "TrackPosition";
inline constexpr const char* kTrackSignal = "TrackSignal";
inline constexpr const char* kPreviewMode = "PreviewMode";
inline constexpr const char* kVisualizerInputs[]
    = {kAudioPeak, kAudioSpectrum, kTrackInfo, kTrackPosition, kTrackSignal, kPreviewMode};

// A track's position from what a player says of it now and then: it runs with the time, comes round gently where the
// player is a little off, never backwards, and jumps where the player did.
class TrackClock
{
public:
    // The position in seconds, from the player's own as it is at `now`.
    double position(double reported, bool isPlaying, Seconds now);
    // Of another track, whose position nobody has said yet.
    void forget() { isKnown_ = false; }

private:
    bool isKnown_ = false;
    double position_ = 0;
    Seconds last_{0};
};

// Feeds the inputs of the protocols for music visualisers and for previews, those of them that a composition declares.
// They are written beside the track record's own, which they touch in nothing. Main thread.
class VisualizerInputs
{
public:
    using Writer = std::function<void(const Value& value, const std::string& key)>;

    explicit VisualizerInputs(Writer writer)
        : writer_(std::move(writer))
    { }

    // A composition was loaded: what it declares. It hears nothing yet, and has seen no track.
    void begin(const std::vector<std::string>& keys, bool isPreview);
    // The record of the track, as music/TrackRecord fills it; null or empty without a player.
    void setTrack(const Dictionary* record);
    // In each frame.
    void hear(const SoundHeard& heard);
    void frameWasDrawn();

    bool wantsPosition() const { return !positionKeys_.empty(); }
    // What the player says at `now`. Gives the seconds until a further step of the position could be seen.
    double setPosition(double reported, bool isPlaying, Seconds now);

private:
    using Keys = std::vector<std::string>;
    void write(const Keys& keys, const Value& value);
    void hearAnew(const SoundHeard& heard);

    const Writer writer_;
    Keys peakKeys_, spectrumKeys_, infoKeys_, positionKeys_, signalKeys_;
    SoundHeard heard_;
    Dictionary info_;
    std::vector<Value> track_; // by what one track is told from the next
    bool signals_ = false; // a new track, in the frame that comes
    double duration_ = 0, position_ = 0;
    TrackClock clock_;
};

} // namespace vitrel
