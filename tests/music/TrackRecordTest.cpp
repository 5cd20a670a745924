#include "music/TrackRecord.h"

#include "base/Text.h"
#include "platform/appkit/NSImage.h"
#include "support/FakePlayer.h"
#include "support/TestSurroundings.h"

#include <gmock/gmock.h>

#include <limits>

namespace vitrel {
namespace {

using Limits = std::numeric_limits<std::int64_t>;

Value at(const Dictionary& record, const char* key)
{
    const auto found = record.find(key);
    return found == record.end() ? Value("absent") : found->second;
}

std::shared_ptr<const NSImage> emptyPicture()
{
    static const auto image = NSImage::imageWithData(pngOf(1, 1));
    return image;
}

Dictionary written(const Dictionary& packet)
{
    Dictionary record;
    writePacket(record, packet, emptyPicture());
    return record;
}

TEST(TotalTime, CountsMinutesAndSecondsAlone)
{
    const std::pair<const char*, std::int64_t> cases[] = {{"3:45", 225000}, {"59:59", 3599000}, {"0:07", 7000},
        {"3:xx", 180000}, {"x:5", 5000}, {":", 0}, {"1:02:03", 0}, {"45", 0}, {"", 0}, {"::", 0}, {" 3: 5", 185000},
        {"-1:30", -30000}, {"99999999999:0", std::int64_t(2147483647) * 60000}};
    for (const auto& [time, milliseconds] : cases)
        EXPECT_EQ(totalTimeInMilliseconds(time), milliseconds) << time;
}

// Each field of the packet by itself, with the keys that it must land in.
TEST(Packet, FillsBothFamiliesOfKeys)
{
    const std::tuple<const char*, Value, std::vector<const char*>, Value> cases[]
        = {{"Name", "N", {"Name", "name"}, "N"}, {"Artist", "A", {"Artist", "artist"}, "A"},
            {"Album", "B", {"Album", "album"}, "B"}, {"Genre", "G", {"Genre", "genre"}, "G"},
            {"Composer", "C", {"Composer"}, "C"}, {"Date", "D", {"Date"}, "D"},
            {"Length", "1:02:03", {"Length"}, "1:02:03"}, {"Time", "3:45", {"totalTimeInMS"}, 225000},
            {"Year", 1999.9, {"Year", "year"}, 1999}, {"UserRating", 80, {"UserRating", "userRating"}, 80},
            {"PlayCount", 7, {"PlayCount", "playCount"}, 7}, {"TrackNumber", 3, {"TrackNumber", "trackNumber"}, 3},
            {"TrackCount", 12, {"TrackCount", "numTracks"}, 12}, {"DiscNumber", 1, {"DiscNumber"}, 1},
            {"DiscCount", 2, {"DiscCount"}, 2}, {"Player State", "Playing", {"isPlaying"}, true},
            {"Player State", "playing", {"isPlaying"}, false}, {"Player State", 1, {"isPlaying"}, false},
            {"Name", Value(), {"Name", "name"}, "<null>"}, {"Name", 99.5, {"Name", "name"}, "99.5"},
            {"Year", "1999", {"Year", "year"}, 0}, {"Year", Value(), {"Year", "year"}, 0},
            {"Year", Value(Array{1}), {"Year", "year"}, 0}, {"Year", 1e30, {"Year", "year"}, Limits::max()},
            {"Year", -1e30, {"Year", "year"}, Limits::min()}, {"Year", std::nan(""), {"Year", "year"}, 0},
            {"Year", 9223372036854775808.0, {"Year", "year"}, Limits::max()}, {"Year", -0.9, {"Year", "year"}, 0}};
    const Dictionary untouched = written({});
    for (const auto& [field, value, keys, expected] : cases) {
        const Dictionary record = written({{field, value}});
        for (const char* key : keys)
            EXPECT_EQ(at(record, key), expected) << field << " " << description(value);
        int changed = 0;
        for (const auto& [key, entry] : record)
            changed += at(untouched, key.c_str()) == entry ? 0 : 1;
        EXPECT_LE(changed, int(keys.size())) << field << " lands nowhere else";
    }
}

TEST(Packet, LeavesDefaultsForWhatIsMissing)
{
    const Dictionary record = written({});
    EXPECT_EQ(record.size(), 16u + 12u + 8u) << "both families but for volumeArt, and the flags";
    for (const auto& [key, value] : record) {
        const bool isDefault = value == Value("") || value == Value(0) || value.as<bool>() || value.image();
        EXPECT_TRUE(isDefault) << key;
    }
}

TEST(Packet, TellsArtworkThatWasOfferedFromArtworkThatDecodes)
{
    const Bytes png = pngOf(4, 3);
    std::string broken = encodeBase64(png);
    broken.insert(20, "\n");
    const std::tuple<const char*, Dictionary, bool, std::optional<NSSize>> cases[]
        = {{"a picture", {{"Track Artwork", encodeBase64(png)}}, true, NSSize{4, 3}}, {"none", {}, false, NSSize{1, 1}},
            {"base64 in lines", {{"Track Artwork", broken}}, true, std::nullopt},
            {"no picture", {{"Track Artwork", "AAAA"}}, true, std::nullopt},
            {"no text", {{"Track Artwork", 5}}, true, std::nullopt},
            {"null", {{"Track Artwork", Value()}}, true, std::nullopt}};
    for (const auto& [why, packet, available, size] : cases) {
        Dictionary record{{"Artwork", "old"}, {"albumArt", "old"}};
        writePacket(record, packet, emptyPicture());
        EXPECT_EQ(at(record, "IsArtworkAvailable"), Value(available)) << why;
        for (const char* key : {"Artwork", "albumArt"}) {
            const auto image = at(record, key).image();
            ASSERT_EQ(record.contains(key), size.has_value()) << why;
            if (size) {
                EXPECT_EQ(image->size(), *size) << why;
            }
        }
        EXPECT_EQ(at(record, "Artwork"), at(record, "albumArt")) << "one image under two names";
    }
    Dictionary record;
    writePacket(record, {}, nullptr);
    EXPECT_FALSE(record.contains("Artwork")) << "no picture among the resources";
}

TEST(Track, IsWrittenAsItStandsAndLeavesTheDate)
{
    SBTrack track;
    track.name = "N";
    track.time = "1:02:03";
    track.rating = 60;
    track.playedCount = 2;
    track.trackCount = 9;
    track.artworks = {std::make_shared<SBArtwork>(std::make_shared<const Bytes>(pngOf(2, 2))), nullptr};
    Dictionary record{{"Date", "earlier"}};
    writeTrack(record, &track, true, emptyPicture());
    const std::pair<const char*, Value> cases[]
        = {{"Name", "N"}, {"name", "N"}, {"Artist", ""}, {"Length", "1:02:03"}, {"totalTimeInMS", 0},
            {"UserRating", 60}, {"playCount", 2}, {"numTracks", 9}, {"isPlaying", true}, {"IsArtworkAvailable", true},
            {"Date", "earlier"}, {"Show_CD", true}, {"Transition_selection", true}, {"Show_cover_transition", true},
            {"Cover_transition", true}, {"Show_performance_info", false}, {"Show_help_on_start", false},
            {"Show_informations", false}, {"Christmas_mode", false}, {"volumeArt", "absent"}};
    for (const auto& [key, value] : cases)
        EXPECT_EQ(at(record, key), value) << key;
    EXPECT_EQ(at(record, "Artwork").image()->size(), (NSSize{2, 2}));

    const auto decoded = NSImage::imageWithData(pngOf(3, 3));
    track.artworks = {std::make_shared<SBArtwork>(std::make_shared<const Bytes>(pngOf(2, 2)), decoded)};
    writeTrack(record, &track, true, emptyPicture());
    EXPECT_EQ(at(record, "Artwork").image(), decoded) << "not once more, on the thread that draws";
    EXPECT_EQ(at(record, "albumArt").image(), decoded);

    track.artworks = {std::make_shared<SBArtwork>(nullptr)};
    writeTrack(record, &track, false, emptyPicture());
    EXPECT_EQ(at(record, "isPlaying"), Value(false)) << "as the manager says";
    EXPECT_EQ(at(record, "IsArtworkAvailable"), Value(true)) << "artwork without data was offered all the same";
    EXPECT_FALSE(record.contains("albumArt"));

    writeTrack(record, nullptr, true, emptyPicture());
    EXPECT_EQ(at(record, "Name"), Value(""));
    EXPECT_EQ(at(record, "IsArtworkAvailable"), Value(false));
    EXPECT_EQ(at(record, "Artwork").image(), emptyPicture());
    EXPECT_EQ(at(record, "isPlaying"), Value(true)) << "as the manager says";
}

TEST(Retrigger, FallsAtMostOnceInFiveSecondsAndOnlyWhereThereIsAnInput)
{
    Retrigger retrigger(Date{100});
    const std::vector<std::string> with{"Name", "isPlaying"}, without{"Name"};
    EXPECT_FALSE(retrigger.isDue(without, Date{200}));
    EXPECT_EQ(retrigger.lastChange(), Date{100});
    EXPECT_FALSE(retrigger.isDue(with, Date{105})) << "exactly five is not more than five";
    EXPECT_TRUE(retrigger.isDue(with, Date{105.1}));
    EXPECT_FALSE(retrigger.isDue(with, Date{109}));
    EXPECT_FALSE(retrigger.isDue(with, Date{110.1}));
    EXPECT_TRUE(retrigger.isDue(with, Date{110.2})) << "an update in between moves nothing";
}

TEST(ArtworkEmpty, ComesFromTheResourcesOnce)
{
    TestSurroundings in;
    EXPECT_EQ(artworkEmpty(in.surroundings), nullptr);
    TestSurroundings other;
    other.bundleFolder.write("ArtworkEmpty.png", textOf(pngOf(5, 6)));
    const auto image = artworkEmpty(other.surroundings);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->size(), (NSSize{5, 6}));
    EXPECT_EQ(artworkEmpty(other.surroundings), image);
}

} // namespace
} // namespace vitrel
