#include "platform/scriptingbridge/Metadata.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

TEST(TrackTime, HasHoursOnlyWhenThereAreSome)
{
    const std::pair<double, const char*> cases[] = {{0, ""}, {-5, ""}, {0.4, "0:00"}, {59.9, "0:59"}, {225, "3:45"},
        {3599, "59:59"}, {3600, "1:00:00"}, {36061, "10:01:01"}, {1e300, ""}, {std::nan(""), ""}};
    for (const auto& [seconds, text] : cases)
        EXPECT_EQ(trackTime(seconds), text) << seconds;
}

// Each row is a habit of a real player, or a mistake that one could make.
TEST(Metadata, IsReadLenientlyFieldByField)
{
    using Get = std::string (*)(const TrackMetadata&);
    const Get name = [](const TrackMetadata& m) { return m.track->name; };
    const Get artist = [](const TrackMetadata& m) { return m.track->artist; };
    const Get genre = [](const TrackMetadata& m) { return m.track->genre; };
    const Get time = [](const TrackMetadata& m) { return m.track->time; };
    const Get year = [](const TrackMetadata& m) { return std::to_string(m.track->year); };
    const Get number = [](const TrackMetadata& m) { return std::to_string(m.track->trackNumber); };
    const Get disc = [](const TrackMetadata& m) { return std::to_string(m.track->discNumber); };
    const Get rating = [](const TrackMetadata& m) { return std::to_string(m.track->rating); };
    const Get played = [](const TrackMetadata& m) { return std::to_string(m.track->playedCount); };
    const Get art = [](const TrackMetadata& m) { return m.artAddress; };
    const std::tuple<const char*, Value, Get, const char*, const char*> cases[] = {
        {"xesam:title", "T", name, "T", "a title"},
        {"xesam:title", Value(Array{"T", "U"}), name, "T, U", "a title as a list"},
        {"xesam:title", 5, name, "5", "a title as a number"},
        {"xesam:url", "file:///m/My%20Song.mp3", name, "My Song.mp3", "no title"},
        {"xesam:url", "http://h/s/stream?id=a/b", name, "stream", "a query is no name"},
        {"xesam:url", "file:///m/04 #1 100% why?.ogg", name, "04 #1 100% why?.ogg", "a file's, not escaped"},
        {"xesam:url", "/m/a%23b#?.ogg", name, "a#b#?.ogg", "a bare path"},
        {"xesam:url", "file:", name, "", "an empty one"},
        {"xesam:url", "FILE://", name, "", "another"},
        {"xesam:artist", Value(Array{"A", "", "B", 5}), artist, "A, B", "several artists"},
        {"xesam:artist", "A", artist, "A", "one, not as a list"},
        {"XESAM:ARTIST", "A", artist, "A", "whatever the case of the key"},
        {"xesam:artist", Value(Dictionary{}), artist, "", "no text at all"},
        {"xesam:artist", "a\xFF", artist, "a\xEF\xBF\xBD", "no UTF-8"},
        {"xesam:genre", "Rock", genre, "Rock", "a genre as text"},
        {"mpris:length", std::int64_t(20035918), time, "0:20", "microseconds"},
        {"mpris:length", "20000000", time, "0:20", "as text"},
        {"mpris:length", 2e7, time, "0:20", "as a double"},
        {"mpris:length", std::int64_t(-1), time, "", "a stream"},
        {"mpris:length", 1e300, time, "", "nonsense"},
        {"xesam:contentCreated", "2021-01-01T00:00:00", year, "2021", "a date"},
        {"xesam:contentCreated", "2021-01-01T18:30:00Z", year, "2021", "a date of another time zone"},
        {"xesam:contentCreated", "2026-11-25T16:50:00", year, "0", "the moment at which a file was written"},
        {"xesam:contentCreated", "2026-11-25T16:45:07", year, "0", "another"},
        {"xesam:contentCreated", "2021", year, "2021", "a year"},
        {"xesam:contentCreated", std::int64_t(1999), year, "1999", "a number"},
        {"xesam:contentCreated", "99", year, "0", "too short"},
        {"xesam:contentCreated", "c. 1970s", year, "1970", "among words"},
        {"Year", std::int64_t(1999), year, "1999", "the song's"},
        {"sayonara:year", "1999", year, "1999", "the song's"},
        {"DATE", "1999-05-01", year, "1999", "the song's, as its tag"},
        {"contentCreated", "1999", year, "0", "no such key"},
        {"xesam:trackNumber", std::int64_t(7), number, "7", "a number"},
        {"track", "7/12", number, "7", "as its tag"},
        {"disc", "2/3", disc, "2", "as its tag"},
        {"xesam:tracknumber", "7", number, "7", "as text, in another case"},
        {"xesam:trackNumber", 1e300, number, "2147483647", "nonsense"},
        {"xesam:userRating", 0.806, rating, "81", "rounded"},
        {"xesam:userRating", 5.0, rating, "100", "beyond"},
        {"xesam:userRating", -1.0, rating, "0", "below"},
        {"xesam:useCount", std::int64_t(12), played, "12", "a count"},
        {"mpris:artUrl", "file:///a.jpg", art, "file:///a.jpg", "artwork"},
        {"mpris:artUrl", 5, art, "", "no address"},
        {"mpris:artUrl", "https://open.spotify.com/image/a1", art, "https://i.scdn.co/image/a1",
            "a page for a picture"},
    };
    for (const auto& [key, value, get, expected, why] : cases)
        EXPECT_EQ(get(trackMetadata({{key, value}})), expected) << why;
}

TEST(Metadata, CutsWhatIsHuge)
{
    const std::string umlauts = [] {
        std::string out = "x";
        for (int k = 0; k < 100000; ++k)
            out += "\xC3\xBC";
        return out;
    }();
    const TrackMetadata metadata = trackMetadata({{"xesam:title", umlauts},
        {"xesam:artist", Value(Array(100000, "name"))}, {"mpris:artUrl", "data:," + std::string(30 << 20, 'x')}});
    EXPECT_EQ(metadata.track->name.size(), 4095u) << "between two characters";
    EXPECT_LE(metadata.track->artist.size(), 4096u);
    EXPECT_EQ(metadata.artAddress, "");
}

// Several fields at once: the first that says something counts.
TEST(Metadata, TakesTheBetterOfTwoFields)
{
    const Value none = "", blank = Value(Array{""});
    const std::tuple<Dictionary, const char*, const char*, std::int64_t, std::int64_t, const char*> cases[] = {
        {{{"year", 2021}, {"xesam:contentCreated", "2026-11-25"}}, "", "", 2021, 0, "the song's year, not its file's"},
        {{{"sayonara:year", 2021}, {"date", "1990"}, {"DATE", "1990"}}, "", "", 2021, 0, "and before a date"},
        {{{"date", "2021"}, {"xesam:contentCreated", "2026"}}, "", "", 2021, 0, "a date's"},
        {{{"year", 0}, {"date", none}, {"xesam:contentCreated", "2003"}}, "", "", 2003, 0,
            "where the others are empty"},
        {{{"DATE", none}, {"date", "2021"}}, "", "", 2021, 0, "of two spellings the one that says something"},
        {{{"xesam:title", blank}, {"xesam:url", "file:///a.mp3"}, {"xesam:artist", blank}}, "a.mp3", "", 0, 0,
            "a list with an empty text is none"},
        {{{"xesam:title", none}, {"xesam:url", "file:///a.mp3"}}, "a.mp3", "", 0, 0, "nor is an empty title"},
        {{{"xesam:trackNumber", 3}, {"track", "5"}}, "", "", 0, 3, "the number before the tag"},
        {{{"xesam:trackNumber", none}, {"track", "5/9"}}, "", "", 0, 5, "unless it's empty"},
        {{{"Artist", "x"}, {"xesam:artist", Value(Array{"A", ""})}}, "", "A", 0, 0, "artists with an empty one"},
    };
    for (const auto& [fields, title, artist, year, number, why] : cases) {
        const TrackMetadata metadata = trackMetadata(fields);
        const SBTrack& track = *metadata.track;
        EXPECT_EQ(track.name, title) << why;
        EXPECT_EQ(track.artist, artist) << why;
        EXPECT_EQ(track.year, year) << why;
        EXPECT_EQ(track.trackNumber, number) << why;
    }
}

TEST(Metadata, TellsTracksApart)
{
    const auto identity = [](const Dictionary& members) { return trackMetadata(members).identity; };
    const Dictionary one{{"mpris:trackid", "/1"}, {"xesam:title", "T"}, {"mpris:length", 5}};
    const Dictionary bare{{"mpris:trackid", "/1"}, {"xesam:title", ""}, {"xesam:artist", Value(Array{""})}};
    const std::tuple<Dictionary, Dictionary, bool, const char*> cases[] = {
        {one, {{"mpris:trackid", "/1"}, {"xesam:title", "T"}, {"mpris:length", 6}}, true, "a corrected length"},
        {one, {{"mpris:trackid", "/2"}, {"xesam:title", "T"}}, true, "another name at each message"},
        {one, {{"mpris:trackid", "/1"}, {"xesam:title", "U"}}, false, "a title"},
        {one, {{"xesam:title", "T"}, {"xesam:artist", "A"}}, false, "an artist"},
        {one, {{"xesam:title", "T"}, {"xesam:album", "A"}}, false, "an album"},
        {one, {{"xesam:title", "T"}, {"xesam:url", "file:///b"}}, false, "an address"},
        {{{"xesam:artist", "T"}}, {{"xesam:album", "T"}}, false, "the same text elsewhere"},
        {bare, {{"mpris:trackid", "/2"}}, false, "with nothing else the player's own name for it"},
        {bare, {{"mpris:trackid", "/1"}}, true, "and empty fields say nothing"},
    };
    for (const auto& [a, b, same, why] : cases)
        EXPECT_EQ(identity(a) == identity(b), same) << why;
}

} // namespace
} // namespace vitrel
