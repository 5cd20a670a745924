#include "saver/VisualizerInputs.h"

#include "music/TrackKeys.h"
#include "platform/quartzcomposer/QCView.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace vitrel {

namespace {

// Players say their position in whole seconds, some of them; what is further off was a seek.
constexpr double kSeek = 1.1;
// A player that is a little off is followed with this time constant: slower than it could make the position go back.
constexpr double kFollowing = 1.5;
// A bar across a display of 4000 pixels moves by one.
constexpr double kVisibleSteps = 4000;
constexpr double kShortestStep = 1.0 / 60, kLongestStep = 0.25;

const Value* entry(const Dictionary& record, const char* key)
{
    const auto place = record.find(key);
    return place == record.end() ? nullptr : &place->second;
}

// Of "3:45" and of "1:02:03".
double secondsOf(const std::string& length)
{
    double seconds = 0;
    for (const char* at = length.c_str(); *at;) {
        char* end = nullptr;
        const auto part = std::strtoul(at, &end, 10);
        if (end == at || (*end && *end != ':') || part > 100'000)
            return 0;
        seconds = seconds * 60 + double(part);
        at = *end ? end + 1 : end;
    }
    return seconds;
}

double durationOf(const Dictionary& record)
{
    const Value* const milliseconds = entry(record, kiVisualizeLength);
    const double known = milliseconds ? milliseconds->number().value_or(0) / 1000 : 0;
    if (known > 0)
        return known;
    const auto* text = textMember(record, kiTunesLength);
    return text ? secondsOf(*text) : 0;
}

// What isn't known is left out.
Dictionary infoOf(const Dictionary& record)
{
    Dictionary info;
    for (const auto& [name, key] : {std::pair("name", kiTunesName), {"artist", kiTunesArtist}, {"album", kiTunesAlbum},
             {"genre", kiTunesGenre}, {"composer", kiTunesComposer}}) {
        if (const auto* text = textMember(record, key); text && !text->empty())
            info[name] = *text;
    }
    for (const auto& [name, key] : {std::pair("year", kiTunesYear), {"trackNumber", kiTunesTrackNumber}}) {
        const Value* const number = entry(record, key);
        if (number && number->number().value_or(0) > 0)
            info[name] = *number;
    }
    if (const double duration = durationOf(record); duration > 0)
        info["duration"] = duration;
    const Value *const isThere = entry(record, kiTunesIsArtworkAvailable), *const image = entry(record, kiTunesArtwork);
    if (isThere && *isThere == Value(true) && image && image->image())
        info["artwork"] = *image;
    return info;
}

std::vector<Value> identityOf(const Dictionary& record)
{
    std::vector<Value> identity;
    for (const char* key : {kiTunesName, kiTunesArtist, kiTunesAlbum, kiTunesTrackNumber, kiTunesDiscNumber}) {
        const Value* const value = entry(record, key);
        identity.push_back(value ? *value : Value());
    }
    const auto* name = textMember(record, kiTunesName);
    return name && !name->empty() ? identity : std::vector<Value>();
}

} // namespace

double TrackClock::position(double reported, bool isPlaying, Seconds now)
{
    const double passed = isPlaying ? std::max(0.0, (now - last_).count()) : 0;
    const double off = reported - (position_ + passed);
    if (!isKnown_ || !isPlaying || !(std::abs(off) < kSeek))
        position_ = reported;
    else
        position_ += passed + off * (1 - std::exp(-passed / kFollowing));
    isKnown_ = true;
    last_ = now;
    return position_;
}

void VisualizerInputs::write(const Keys& keys, const Value& value)
{
    for (const std::string& key : keys)
        writer_(value, key);
}

void VisualizerInputs::begin(const std::vector<std::string>& keys, bool isPreview)
{
    const auto named = [&](const char* name) {
        Keys found;
        std::copy_if(keys.begin(), keys.end(), std::back_inserter(found),
            [&](const std::string& key) { return isProtocolInput(key, name); });
        return found;
    };
    peakKeys_ = named(kAudioPeak);
    spectrumKeys_ = named(kAudioSpectrum);
    infoKeys_ = named(kTrackInfo);
    positionKeys_ = named(kTrackPosition);
    signalKeys_ = named(kTrackSignal);
    if (isPreview)
        write(named(kPreviewMode), true);
    hearAnew({});
    info_.clear();
    track_.clear();
    signals_ = false;
    duration_ = position_ = 0;
    clock_.forget();
}

void VisualizerInputs::hearAnew(const SoundHeard& heard)
{
    heard_ = heard;
    write(peakKeys_, heard.peak);
    if (!spectrumKeys_.empty())
        write(spectrumKeys_, Value(Array(heard.spectrum.begin(), heard.spectrum.end())));
}

void VisualizerInputs::hear(const SoundHeard& heard)
{
    if (heard.peak != heard_.peak || heard.spectrum != heard_.spectrum)
        hearAnew(heard);
}

void VisualizerInputs::setTrack(const Dictionary* record)
{
    const Dictionary none;
    const Dictionary& now = record ? *record : none;
    Dictionary info = infoOf(now);
    if (info != info_) {
        info_ = std::move(info);
        write(infoKeys_, info_.empty() ? Value() : Value(info_));
    }
    duration_ = durationOf(now);
    auto track = identityOf(now);
    if (track == track_)
        return;
    track_ = std::move(track);
    clock_.forget();
    if (track_.empty() || signalKeys_.empty())
        return;
    signals_ = true;
    write(signalKeys_, true);
}

void VisualizerInputs::frameWasDrawn()
{
    if (std::exchange(signals_, false))
        write(signalKeys_, false);
}

double VisualizerInputs::setPosition(double reported, bool isPlaying, Seconds now)
{
    const double position = clock_.position(std::isfinite(reported) ? std::max(0.0, reported) : 0, isPlaying, now);
    if (position != position_)
        write(positionKeys_, position);
    position_ = position;
    if (!isPlaying || !(duration_ > 0))
        return kLongestStep;
    return std::clamp(duration_ / kVisibleSteps, kShortestStep, kLongestStep);
}

} // namespace vitrel
