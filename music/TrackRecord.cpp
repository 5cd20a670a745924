#include "music/TrackRecord.h"

#include "base/Text.h"
#include "music/TrackKeys.h"
#include "platform/appkit/NSImage.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSObject.h"
#include "platform/foundation/Surroundings.h"
#include "platform/scriptingbridge/SBApplication.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vitrel {
namespace {

constexpr double kRetriggerPause = 5; // seconds

// What both sources are brought to before the record is filled.
struct Fields {
    std::string name, artist, album, genre, composer, length;
    std::int64_t year = 0, rating = 0, playedCount = 0;
    std::int64_t trackNumber = 0, trackCount = 0, discNumber = 0, discCount = 0;
    std::int64_t totalTime = 0;
    bool isPlaying = false, isArtworkAvailable = false;
    std::shared_ptr<const NSImage> image;
};

void fill(Dictionary& record, const Fields& fields)
{
    const auto set = [&](Value value, std::initializer_list<const char*> keys) {
        for (const char* key : keys)
            record.insert_or_assign(key, value);
    };
    for (const char* key : {kiTunesArtwork, kiVisualizeAlbumArt}) {
        if (fields.image)
            record.insert_or_assign(key, Value(fields.image));
        else
            record.erase(key);
    }
    set(fields.isArtworkAvailable, {kiTunesIsArtworkAvailable});
    set(fields.name, {kiTunesName, kiVisualizeName});
    set(fields.artist, {kiTunesArtist, kiVisualizeArtist});
    set(fields.album, {kiTunesAlbum, kiVisualizeAlbum});
    set(fields.genre, {kiTunesGenre, kiVisualizeGenre});
    set(fields.composer, {kiTunesComposer});
    set(fields.length, {kiTunesLength});
    set(fields.year, {kiTunesYear, kiVisualizeYear});
    set(fields.rating, {kiTunesUserRating, kiVisualizeUserRating});
    set(fields.playedCount, {kiTunesPlayCount, kiVisualizePlayCount});
    set(fields.trackNumber, {kiTunesTrackNumber, kiVisualizeTrackNumber});
    set(fields.trackCount, {kiTunesTrackCount, kiVisualizeNumTracks});
    set(fields.discNumber, {kiTunesDiscNumber});
    set(fields.discCount, {kiTunesDiscCount});
    set(fields.totalTime, {kiVisualizeLength});
    set(fields.isPlaying, {kiVisualizeIsPlaying});
    set(true,
        {kiVisualizeShowCD, kiVisualizeTransitionSelection, kiVisualizeShowCoverTransition,
            kiVisualizeCoverTransition});
    set(false, {"Show_performance_info", kiVisualizeShowHelpOnStart, kiVisualizeShowInformations, "Christmas_mode"});
}

std::int64_t integerField(const Dictionary& packet, const char* name)
{
    using Limits = std::numeric_limits<std::int64_t>;
    const Value* value = member(packet, name);
    if (!value)
        return 0;
    if (const auto* integer = value->as<std::int64_t>())
        return *integer;
    const auto number = value->number();
    if (!number || std::isnan(*number))
        return 0;
    if (*number >= 9223372036854775808.0)
        return Limits::max();
    if (*number <= -9223372036854775808.0)
        return Limits::min();
    return static_cast<std::int64_t>(*number);
}

// The leading decimal integer of `text`, within 32 bits.
std::int32_t leadingInteger(std::string_view text)
{
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+'))
        text.remove_prefix(1);
    std::int64_t number = 0;
    for (const char c : text) {
        if (c < '0' || c > '9')
            break;
        number = std::min<std::int64_t>(number * 10 + (c - '0'), std::int64_t(1) << 32);
    }
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(
        std::clamp<std::int64_t>(negative ? -number : number, Limits::min(), Limits::max()));
}

struct EmptyArtwork {
    std::shared_ptr<const NSImage> image;
};

} // namespace

void writeTrack(Dictionary& record, const SBTrack* track, bool isPlaying, std::shared_ptr<const NSImage> artworkEmpty)
{
    Fields fields;
    fields.isPlaying = isPlaying;
    if (track && !track->artworks.empty()) {
        fields.image = send(track->artworks.front(), &SBArtwork::image);
        fields.isArtworkAvailable = true;
    } else {
        fields.image = std::move(artworkEmpty);
    }
    if (track) {
        fields.name = track->name;
        fields.artist = track->artist;
        fields.album = track->album;
        fields.genre = track->genre;
        fields.composer = track->composer;
        fields.length = track->time;
        fields.totalTime = totalTimeInMilliseconds(track->time);
        fields.year = track->year;
        fields.rating = track->rating;
        fields.playedCount = track->playedCount;
        fields.trackNumber = track->trackNumber;
        fields.trackCount = track->trackCount;
        fields.discNumber = track->discNumber;
        fields.discCount = track->discCount;
    }
    fill(record, fields);
}

void writePacket(Dictionary& record, const Dictionary& packet, std::shared_ptr<const NSImage> artworkEmpty)
{
    Fields fields;
    if (const Value* artwork = member(packet, "Track Artwork")) {
        const auto* text = artwork->as<std::string>();
        fields.image = text ? imageFromText(*text) : nullptr;
        fields.isArtworkAvailable = true;
    } else {
        fields.image = std::move(artworkEmpty);
    }
    const auto text = [&](const char* name) { return validString(member(packet, name)); };
    fields.name = text(kiTunesName);
    fields.artist = text(kiTunesArtist);
    fields.album = text(kAlbum);
    record.insert_or_assign("Date", text("Date"));
    fields.genre = text(kiTunesGenre);
    fields.length = text(kiTunesLength);
    fields.composer = text(kiTunesComposer);
    fields.year = integerField(packet, kiTunesYear);
    fields.trackNumber = integerField(packet, kiTunesTrackNumber);
    fields.trackCount = integerField(packet, kiTunesTrackCount);
    fields.discNumber = integerField(packet, kiTunesDiscNumber);
    fields.discCount = integerField(packet, kiTunesDiscCount);
    fields.rating = integerField(packet, kiTunesUserRating);
    fields.playedCount = integerField(packet, kiTunesPlayCount);
    fields.totalTime = totalTimeInMilliseconds(text(kiTunesTime));
    const Value* state = member(packet, "Player State");
    const auto* stateText = state ? state->as<std::string>() : nullptr;
    fields.isPlaying = stateText && *stateText == "Playing";
    fill(record, fields);
}

std::shared_ptr<const NSImage> imageFromText(const std::string& text)
{
    const auto bytes = decodeBase64(text);
    return bytes ? NSImage::imageWithData(*bytes) : nullptr;
}

std::string validString(const Value* value)
{
    return validatedString(value);
}

std::string validatedString(const Value* value)
{
    return value ? description(*value) : std::string();
}

std::int64_t totalTimeInMilliseconds(std::string_view time)
{
    const std::size_t colon = time.find(':');
    if (colon == std::string_view::npos || time.find(':', colon + 1) != std::string_view::npos)
        return 0;
    const std::int64_t minutes = leadingInteger(time.substr(0, colon)),
                       seconds = leadingInteger(time.substr(colon + 1));
    return (minutes * 60 + seconds) * 1000;
}

std::shared_ptr<const NSImage> artworkEmpty(const BasicSurroundings& surroundings)
{
    const auto make = [&] {
        auto made = std::make_shared<EmptyArtwork>();
        for (const NSBundle* bundle : {surroundings.classBundle, surroundings.mainBundle}) {
            const auto path = bundle ? bundle->pathForResourceOfType("ArtworkEmpty", "png") : std::nullopt;
            if (path && !made->image)
                made->image = NSImage::imageWithResource(*path);
        }
        return made;
    };
    return surroundings.shared.of<EmptyArtwork>(make).image;
}

bool Retrigger::isDue(const std::vector<std::string>& inputKeys, Date now)
{
    if (std::find(inputKeys.begin(), inputKeys.end(), kiVisualizeIsPlaying) == inputKeys.end())
        return false;
    if (!(now.secondsSince1970 - lastChange_.secondsSince1970 > kRetriggerPause))
        return false;
    lastChange_ = now;
    return true;
}

} // namespace vitrel
