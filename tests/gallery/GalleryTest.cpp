// What all compositions that come along keep to: words that can be read and stand within the picture, nothing that
// flickers, nothing bright that stands still, and whatever a player or a feed may say.
#include "platform/appkit/Bitmap.h"
#include "platform/appkit/NSImage.h"
#include "platform/quartzcomposer/FrameView.h"
#include "platform/quartzcomposer/graph/InputDescription.h"
#include "platform/quartzcomposer/patches/OKLab.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <map>
#include <set>

namespace vitrel {
namespace {

using Picture = std::vector<std::uint32_t>;

std::shared_ptr<const NSImage> cover(double hue)
{
    auto bitmap = std::make_shared<Bitmap>(Bitmap{64, 64, {}});
    for (int k = 0; k < 64 * 64; ++k) {
        const NSColor c = qc::rgbOf(qc::OKLab::of(k % 64 < 40 ? 0.62 : 0.3, 0.12, hue + (k > 2600 ? 60 : 0)));
        const auto part = [](double v) { return static_cast<std::uint32_t>(std::lround(v * 255)); };
        bitmap->pixels.push_back(0xFFu << 24 | part(c.red) << 16 | part(c.green) << 8 | part(c.blue));
    }
    return std::make_shared<const NSImage>(std::move(bitmap));
}

const std::string kMore
    = "The people there have made the dark a season of its own, with lanterns, songs and a market that "
      "opens at midnight. Nobody remembers who began it.";

std::string feed(const std::string& title)
{
    nlohmann::json json{{"Title", "Nordhavn Post"}, {"Articles", nlohmann::json::array()}};
    for (int k = 0; k < 6; ++k)
        json["Articles"].push_back({{"title", title},
            {"description", std::string("For six weeks a year the sun does not rise over the harbour. ") + kMore},
            {"systemTime", 1.79e9}});
    return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

struct Words {
    std::string name, artist, album, news;
};
const Words kWords{"HHHH", "The Long Nights", "Almanac", "Tides of light"};

// A composition with a clock, a player and a loudspeaker in the test's hand.
struct Play {
    FrameView view;
    double time = 0;
    Date start{1'795'607'880}; // 25 November 2026, noon in UTC
    SoundHeard heard;

    explicit Play(const std::string& name, int width = 320, int height = 180)
        : view(width, height)
    {
        isLoaded = view.loadCompositionFromFile(std::string(VITREL_SHARE) + "/" + name + ".qtz");
        for (const std::string& key : view.inputKeys())
            keys.insert(key);
        view.startRendering();
        set("Night", 1);
        set("Light", 1);
        set("Paper", 1);
    }
    void set(const std::string& key, const Value& value)
    {
        if (keys.count(key))
            view.setValueForInputKey(value, key);
    }
    void all(const Words& words = kWords)
    {
        set("Name", words.name);
        set("Artist", words.artist);
        set("Album", words.album);
        set("Artwork", Value(cover(40)));
        set("IsArtworkAvailable", true);
        set("isPlaying", true);
        set("Year", 1999);
        set("TrackNumber", 4);
        set("ShowText", true);
        set("Muralis_RSS_Feed", feed(words.news));
        Array evening;
        for (int k = 0; k < 20; ++k)
            evening.emplace_back(cover(18 * k));
        set("Covers_This_Evening", evening);
    }
    Picture after(double seconds, double step = 0.1)
    {
        for (const double until = time + seconds; time < until - 1e-9; time += step)
            draws &= view.drawFrame(time, Date{start.secondsSince1970 + time}, heard);
        Picture picture(static_cast<std::size_t>(view.width()) * static_cast<std::size_t>(view.height()));
        view.readInto(picture.data());
        return picture;
    }

    bool isLoaded = false, draws = true;
    std::set<std::string> keys;
};

double luma(std::uint32_t pixel)
{
    return (0.299 * double(pixel >> 16 & 255) + 0.587 * double(pixel >> 8 & 255) + 0.114 * double(pixel & 255)) / 255;
}

const std::vector<std::string> kAll{"Vinyl", "Postcard", "Night Clock", "Tide", "Lanterns", "Broadsheet", "Resonance",
    "Aurora", "Cover Wall", "Departures", "Muralis RSS Almanac", "Muralis Cover Still"};

// Where two pictures differ: what stands in the words alone.
struct Box {
    int left = 1 << 20, top = 1 << 20, right = -1, bottom = -1;
};
Box difference(const Picture& a, const Picture& b, int width, double least = 0.10)
{
    Box box;
    for (std::size_t k = 0; k < a.size(); ++k) {
        if (std::abs(luma(a[k]) - luma(b[k])) < least)
            continue;
        const int x = static_cast<int>(k) % width, y = static_cast<int>(k) / width;
        box = {std::min(box.left, x), std::min(box.top, y), std::max(box.right, x), std::max(box.bottom, y)};
    }
    return box;
}

TEST(Gallery, WordsStandWithinThePictureInEveryShapeAndScript)
{
    const std::string longName
        = "An Unreasonably Long Title for a Piece of Music That Goes On and On, Live at the Old Harbour";
    const std::vector<Words> scripts{{longName, longName, longName, longName},
        {"上を向いて歩こう 涙がこぼれないように思い出す春の日一人ぽっちの夜", "坂本九", "スキヤキ",
            "港の灯りが消えない夜"},
        {"نسم علينا الهوى من مفرق الوادي يا هوى دخل الهوى خدني على بلادي", "فيروز", "إلى عاصي", "أضواء الميناء"},
        {std::string(400, 'W'), std::string(400, 'M'), "", std::string(300, 'W')}};
    for (const std::string& name : kAll) {
        for (const auto& [width, height] : {std::pair(480, 270), {400, 300}, {504, 216}, {216, 384}}) {
            for (const Words& words : scripts) {
                SCOPED_TRACE(
                    name + " " + std::to_string(width) + "x" + std::to_string(height) + " " + words.name.substr(0, 30));
                Play with(name, width, height), without(name, width, height);
                ASSERT_TRUE(with.isLoaded);
                with.all(words);
                // The same direction of writing, so that the same side is meant.
                without.all({words.name.substr(0, words.name[0] & 0x80 ? 3 : 1), "", "", words.news});
                const Box box = difference(with.after(0.3), without.after(0.3), width);
                ASSERT_TRUE(with.draws && without.draws);
                if (box.right < 0)
                    continue; // Tide and Night Clock may show none
                const double u = 0.01 * std::min(double(height) / width * 2, 1.125) * width / 2;
                EXPECT_GE(box.left, 4.5 * u);
                EXPECT_LE(box.right, width - 4.5 * u);
                if (name != "Broadsheet") { // whose columns run out below
                    EXPECT_LE(box.bottom, height - 2.5 * u);
                }
                EXPECT_GE(box.top, 2.5 * u);
            }
        }
    }
}

// A capital of Inter is 0.727 of its size; those of other faces here are between 0.66 and 0.74.
TEST(Gallery, TitlesCanBeReadFromThreeMetres)
{
    const std::map<std::string, double> leastSizes{{"Vinyl", 6}, {"Postcard", 5}, {"Night Clock", 3.5}, {"Tide", 3.6},
        {"Lanterns", 3.6}, {"Resonance", 3.6}, {"Aurora", 3.6}, {"Cover Wall", 6}, {"Departures", 5},
        {"Broadsheet", 3.5}, {"Muralis RSS Almanac", 3.0}};
    // Where the track is no title, or leaves throw their shadow on it.
    const std::set<std::string> secondLines{"Night Clock", "Broadsheet", "Postcard"};
    for (const auto& [name, least] : leastSizes) {
        SCOPED_TRACE(name);
        constexpr int kWidth = 1280, kHeight = 720;
        Play high(name, kWidth, kHeight), low(name, kWidth, kHeight);
        for (Play* play : {&high, &low}) {
            play->all({play == &high ? "HHHH" : "....", "a", "a", "Tides of light"});
            if (play->keys.count("_protocolInput_AudioPeak"))
                play->set("Sound", 0.0);
        }
        const Picture a = high.after(0.3), b = low.after(0.3);
        const Box box = difference(a, b, kWidth, 0.25);
        ASSERT_GE(box.right, 0);
        const double size = (box.bottom - box.top + 1) / 0.72 / kHeight * 100;
        EXPECT_GE(size, least * 0.93);
        EXPECT_LE(size, 16);
        // The strokes against the lightest that stands behind them.
        std::vector<double> words, ground;
        for (std::size_t k = 0; k < a.size(); ++k) {
            const int x = static_cast<int>(k) % kWidth, y = static_cast<int>(k) / kWidth;
            if (x < box.left || x > box.right || y < box.top || y > box.bottom)
                continue;
            if (std::abs(luma(a[k]) - luma(b[k])) > 0.25)
                words.push_back(luma(a[k])), ground.push_back(luma(b[k]));
        }
        std::sort(words.begin(), words.end());
        std::sort(ground.begin(), ground.end());
        const bool isInk = words[words.size() / 2] < ground[ground.size() / 2];
        const auto at = [](const std::vector<double>& all, double part) {
            return all[static_cast<std::size_t>(part * double(all.size() - 1))];
        };
        const auto grey = [](double v) { return NSColor{v, v, v, 1}; };
        const double seen = isInk ? qc::contrast(grey(at(words, 0.25)), grey(at(ground, 0.10)))
                                  : qc::contrast(grey(at(words, 0.75)), grey(at(ground, 0.90)));
        EXPECT_GE(seen, secondLines.count(name) ? 4.5 : 6.5);
    }
}

// A picture in squares, 16 in a row: a line that moves is no flicker.
std::vector<double> squares(const Picture& picture, int width)
{
    constexpr int kSide = 20;
    const int columns = width / kSide, rows = static_cast<int>(picture.size()) / width / kSide;
    std::vector<double> means(static_cast<std::size_t>(columns * rows));
    for (int y = 0; y < rows * kSide; ++y) {
        for (int x = 0; x < columns * kSide; ++x)
            means[static_cast<std::size_t>(y / kSide * columns + x / kSide)]
                += luma(picture[static_cast<std::size_t>(y * width + x)]) / (kSide * kSide);
    }
    return means;
}

TEST(Gallery, NothingFlickersWithTheLoudestSound)
{
    for (const std::string& name : kAll) {
        SCOPED_TRACE(name);
        Play play(name);
        play.all();
        auto last = squares(play.after(3, 0.25), 320);
        double worst = 0;
        for (int k = 0; k < 60; ++k) {
            const bool loud = k % 7 < 3;
            play.heard.peak = loud;
            play.heard.spectrum.fill(loud);
            play.heard.beats += k % 7 == 0;
            play.heard.sinceBeat = 0.1 * (k % 7);
            const auto now = squares(play.after(0.1, 0.05), 320);
            std::size_t changed = 0;
            for (std::size_t p = 0; p < now.size(); ++p)
                changed += std::abs(now[p] - last[p]) > 0.08;
            worst = std::max(worst, double(changed) / double(now.size()));
            last = now;
        }
        EXPECT_LE(worst, 0.05);
    }
}

TEST(Gallery, NothingBrightStandsStillForHalfAnHour)
{
    for (const std::string& name : kAll) {
        SCOPED_TRACE(name);
        Play play(name, 320, 180);
        play.all();
        std::vector<int> bright(320 * 180);
        for (int k = 0; k < 12; ++k) {
            const Picture now = play.after(300, 6);
            // Paper is at most nine tenths of white.
            for (std::size_t p = 0; p < now.size(); ++p)
                bright[p] = luma(now[p]) > 0.90 ? bright[p] + 1 : 0;
            const auto stuck = std::count_if(bright.begin(), bright.end(), [](int times) { return times >= 6; });
            EXPECT_LE(double(stuck) / double(bright.size()), 0.002) << "after " << 5 * (k + 1) << " minutes";
        }
    }
}

TEST(Gallery, WhateverIsSaidPlays)
{
    const std::string odd("a\0b\xFF\xC3 \xE2\x80\xAE"
                          "desrever \x1b[31m<b>",
        26);
    const std::vector<Words> hostile{{"", "", "", ""}, {odd, odd, odd, odd},
        {std::string(200'000, 'x'), "", std::string(5000, '\n'), "x"},
        {"\U0001F9D1\u200D\U0001F680\U0001F3F3\uFE0F\u200D\U0001F308", "e\u0301\u0323\u0330\u0334", "\u202E\u2066",
            "\U0001D54F"}};
    for (const std::string& name : kAll) {
        for (const Words& words : hostile) {
            SCOPED_TRACE(name + " " + words.name.substr(0, 20));
            Play play(name);
            if (!words.name.empty())
                play.all(words);
            for (const char* broken :
                {"{", "[1,2]", "{\"Articles\": 7}", "{\"Articles\": [null, {\"title\": {}}, 3]}", "null"}) {
                if (words.name.empty())
                    play.set("Muralis_RSS_Feed", std::string(broken));
                play.after(0.2);
            }
            play.set("TrackNumber", -1e300);
            play.set("_protocolInput_TrackPosition", std::nan(""));
            play.set("totalTimeInMS", -5);
            play.set("Covers_This_Evening", Array{Value(), Value(7), Value("x")});
            const Picture picture = play.after(0.3);
            EXPECT_TRUE(play.draws);
            const auto [least, most]
                = std::minmax_element(picture.begin(), picture.end(), [](auto a, auto b) { return luma(a) < luma(b); });
            EXPECT_GT(luma(*most) - luma(*least), 0.05);
        }
    }
}

TEST(Gallery, PlaysAlikeTwiceAndRestsWhereItMay)
{
    for (const std::string& name : kAll) {
        SCOPED_TRACE(name);
        Play one(name), other(name);
        one.all();
        other.all();
        EXPECT_EQ(one.after(1), other.after(1));
    }
    // How long they rest, once they have come to rest: the clock by half seconds, the board until the next article.
    for (const auto& [name, rests] : std::map<std::string, double>{{"Night Clock", 0.45}, {"Departures", 2}}) {
        Play play(name);
        play.all();
        play.after(4.2);
        EXPECT_GE(play.view.next() - play.time, rests - 0.25) << name;
    }
}

TEST(Gallery, EveryOptionActs)
{
    // They act in time, or on what isn't there now.
    const std::set<std::string> later{"Stay", "Calm", "Speed", "NightFrom", "NightTo", "NightColor", "NightLight",
        "Turns", "Beat", "Flaps", "Keep", "Warmth", "Masthead", "Sound"};
    const std::set<std::string> seasons{"Night", "Light", "Paper"}; // never, so far
    const std::set<std::string> fed{"Name", "Artist", "Album", "Artwork", "IsArtworkAvailable", "RequiresSquareImage",
        "Year", "TrackNumber", "isPlaying", "totalTimeInMS", "_protocolInput_TrackPosition", "Muralis_RSS_Feed",
        "Muralis_RSS_ArticlesCount", "Covers_This_Evening"};
    SoundHeard loud;
    loud.peak = 0.7;
    loud.spectrum.fill(0.6);
    for (const std::string& name : kAll) {
        Play plain(name);
        plain.all();
        plain.heard = loud;
        const Picture usual = plain.after(2.2);
        std::size_t options = 0;
        for (const auto& input : plain.view.describedInputs()) {
            if (fed.count(input.key))
                continue;
            ++options;
            if (later.count(input.key))
                continue;
            SCOPED_TRACE(name + " " + input.key);
            Play play(name);
            play.all();
            play.heard = loud;
            const Value was = play.view.valueForInputKey(input.key);
            if (input.key == "Color1" || input.key == "Color2" || input.key == "Ground") {
                play.set("ColorFrom", name == "Departures" ? 2 : 1);
            }
            if (input.key == "TableColor")
                play.set("Table", 1);
            if (input.type == qc::PortType::Color)
                play.set(input.key, NSColor{0.2, 0.9, 0.5, 1});
            else if (input.type == qc::PortType::Boolean)
                play.set(input.key, !(was == Value(true)));
            else if (input.type == qc::PortType::Index && !input.labels.empty())
                play.set(input.key, seasons.count(input.key) ? 2 : was.number() == 1.0 ? 0 : 1);
            else if (input.type == qc::PortType::String)
                play.set(input.key, std::string("Other"));
            else
                play.set(input.key, was.number() == input.most ? input.least : input.most);
            EXPECT_NE(play.after(2.2), usual);
        }
        EXPECT_GE(options, name == "Muralis Cover Still" ? 0u : 5u) << name;
    }
}

} // namespace
} // namespace vitrel
