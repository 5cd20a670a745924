#include "platform/scriptingbridge/Metadata.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

TEST(TrackTime, HasHoursOnlyWhenThereAreSome)
{
    const struct {
        double seconds;
        const char* text;
    } cases[] = {{0, ""}, {-5, ""}, {0.4, "0:00"}, {59.9, "0:59"}, {225, "3:45"}, {3599, "59:59"}, {3600, "1:00:00"},
        {36061, "10:01:01"}, {1e300, ""}, {std::nan(""), ""}};
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
    const Get rating = [](const TrackMetadata& m) { return std::to_string(m.track->rating); };
    const Get played = [](const TrackMetadata& m) { return std::to_string(m.track->playedCount); };
    const Get art = [](const TrackMetadata& m) { return m.artAddress; };
    const struct {
        const char* key;
        Value value;
        Get get;
        const char* expected;
        const char* why;
    } cases[] = {
        {"xesam:title", "T", name, "T", "a title"},
        {"xesam:title", Value(Array{"T", "U"}), name, "T, U", "a title as a list"},
        {"xesam:title", 5, name, "5", "a title as a number"},
        {"xesam:url", "file:///m/My%20Song.mp3", name, "My Song.mp3", "no title"},
        {"xesam:url", "http://h/s/stream?id=a/b", name, "stream", "a query is no name"},
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
        {"xesam:contentCreated", "2021", year, "2021", "a year"},
        {"xesam:contentCreated", std::int64_t(1999), year, "1999", "a number"},
        {"xesam:contentCreated", "99", year, "0", "too short"},
        {"xesam:contentCreated", "c. 1970s", year, "1970", "among words"},
        {"xesam:trackNumber", std::int64_t(7), number, "7", "a number"},
        {"xesam:tracknumber", "7", number, "7", "as text, in another case"},
        {"xesam:trackNumber", 1e300, number, "2147483647", "nonsense"},
        {"xesam:userRating", 0.806, rating, "81", "rounded"},
        {"xesam:userRating", 5.0, rating, "100", "beyond"},
        {"xesam:userRating", -1.0, rating, "0", "below"},
        {"xesam:useCount", std::int64_t(12), played, "12", "a count"},
        {"mpris:artUrl", "file:///a.jpg", art, "file:///a.jpg", "artwork"},
        {"mpris:artUrl", 5, art, "", "no address"},
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

TEST(Metadata, TellsTracksApartButNotTheirChangingLengths)
{
    const auto identity = [](Dictionary members) { return trackMetadata(members).identity; };
    const Dictionary one{{"mpris:trackid", "/1"}, {"xesam:title", "T"}, {"mpris:length", 5}};
    EXPECT_EQ(identity(one), identity({{"mpris:trackid", "/1"}, {"xesam:title", "T"}, {"mpris:length", 6}}));
    EXPECT_NE(identity(one), identity({{"mpris:trackid", "/2"}, {"xesam:title", "T"}}));
    EXPECT_NE(identity(one), identity({{"mpris:trackid", "/1"}, {"xesam:title", "U"}}));
}

} // namespace
} // namespace vitrel
