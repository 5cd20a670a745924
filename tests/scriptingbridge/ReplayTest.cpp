// Recordings of real players, played to the layer on a clock that is turned by hand. Skipped without the samples.
#include "platform/foundation/NSDistributedNotificationCenter.h"
#include "platform/scriptingbridge/MprisPlayers.h"
#include "support/FakePlayer.h"
#include "support/TestSurroundings.h"

#include "base/Text.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <regex>

namespace vitrel {
namespace {

using Json = nlohmann::json;

namespace fs = std::filesystem;

const std::string kRecordings = VITREL_SAMPLES "/players";
const std::string kPrefix = "org.mpris.MediaPlayer2.", kInterface = "org.mpris.MediaPlayer2.Player";

Value valueOf(const Json& typed);

Dictionary dictionaryOf(const Json& members)
{
    Dictionary out;
    for (const auto& [key, member] : members.items()) {
        if (member.contains("type"))
            out[key] = valueOf(member);
    }
    return out;
}

Value valueOf(const Json& typed)
{
    const std::string type = typed.at("type");
    const Json& value = typed.at("value");
    if (type == "v")
        return valueOf(value);
    if (type == "a{sv}")
        return Value(dictionaryOf(value));
    if (value.is_string())
        return value.get<std::string>();
    if (value.is_boolean())
        return value.get<bool>();
    if (value.is_number_integer() && type != "d")
        return value.get<std::int64_t>();
    if (value.is_number())
        return value.get<double>();
    Array out;
    for (const Json& member : value)
        out.push_back(member.is_string() ? Value(member.get<std::string>()) : Value());
    return Value(std::move(out));
}

// One or more recordings at once, as the bus tells of their players.
struct RecordedBus final : PlayerBus {
    explicit RecordedBus(RunLoop& loop)
        : loop_(loop)
    { }
    void start(PlayerBusListener& listener) override { listener_ = &listener; }
    bool isSettled() const override { return true; }
    bool isSilent(const std::string& name) const override { return !connections_.at(of_.at(name)).signals; }
    void ask(const std::string& name) override
    {
        loop_.post([this, name] { listener_->playerChanged(name, connections_.at(of_.at(name)).properties); });
    }
    // `who` tells one recording's connections from another's, and stands in for the composer of what they play.
    void run(const Json& step, const std::string& who);
    struct Connection {
        Dictionary properties; // as at the last state that was recorded
        bool signals = false;
    };
    RunLoop& loop_;
    PlayerBusListener* listener_ = nullptr;
    std::map<std::string, Connection> connections_;
    std::map<std::string, std::string> of_; // the connections of the names
};

Dictionary signedBy(const std::string& who, Dictionary properties)
{
    const auto found = properties.find("Metadata");
    if (found != properties.end() && found->second.dictionary()) {
        Dictionary metadata = *found->second.dictionary();
        metadata["xesam:composer"] = who;
        found->second = Value(metadata);
    }
    return properties;
}

void RecordedBus::run(const Json& step, const std::string& who)
{
    const auto name = [&](const char* member) { return step.at(member).get<std::string>().substr(kPrefix.size()); };
    const auto connection = [&](const Json& of) { return who + of.at("connection").get<std::string>(); };
    if (step.contains("appeared")) {
        of_[name("appeared")] = connection(step);
        const Connection& made = connections_[connection(step)];
        listener_->playerAppeared(name("appeared"), {}, made.properties);
    } else if (step.contains("vanished")) {
        listener_->playerVanished(name("vanished"));
        of_.erase(name("vanished"));
    } else if (step.contains("state")) {
        const Json& state = step.at("state");
        connections_[connection(state)].properties = signedBy(who, dictionaryOf(state.at("player")));
    } else if (step.contains("signal")) {
        const std::string signal = step.at("signal");
        const Json& arguments = step.at("arguments");
        for (const auto& [player, its] : of_) {
            if (its != connection(step))
                continue;
            if (signal == kInterface + ".Seeked")
                listener_->playerSeeked(player, arguments[0].at("value").get<double>() / 1e6);
            if (signal.ends_with(".PropertiesChanged") && arguments[0].at("value") == kInterface) {
                connections_[its].signals = true;
                listener_->playerChanged(player, signedBy(who, dictionaryOf(arguments[1].at("value"))));
            }
        }
    }
}

struct Recording {
    std::string name;
    Json steps;
    // The first state of each connection, less what signals tell until then: what it answers when it comes.
    Dictionary beginning;
};

// What is shown of a track, in one line.
std::string line(const SBTrack& track, const std::string& cover)
{
    return track.name + " | " + track.artist + " | " + track.album + " | " + track.time + " | "
        + std::to_string(track.year) + " | " + cover;
}

struct Replay : TestSurroundings {
    struct Observer final : NSObject {
        explicit Observer(Replay& replay)
            : in(replay)
        { }
        void heard(const Value&)
        {
            if (in.player->currentTrack() && in.player->playerState() == kPlayerStatePlaying)
                in.told.push_back(in.shown());
        }
        Replay& in;
    };
    // What a recording's player says of itself, as the rule for choosing one sees it.
    struct Player {
        bool isThere = false, plays = false, yields = false, isSettled = false, playsWhenItComes = false;
        int began = 0, ended = 0;
        double spoke = 0;
        std::string settled; // its last recorded state
    };

    std::shared_ptr<SBApplication> player;
    std::vector<std::string> told; // while it plays
    std::vector<std::string> settled; // what was to be told, from the recorded states
    std::vector<std::string> wrong;
    std::map<std::string, std::string> covers; // by their bytes, the addresses
    std::map<std::string, Player> players;
    int order = 0, checks = 0;
    double nextRead = 0;

    std::string coverAt(const std::string& address);
    Recording read(const std::string& name);
    std::string expected(const Json& state);
    std::string shown();
    void note(const Json& step, const std::string& who, double at, bool isSilent);
    void check(double at);
    // Covers are read every hundredth of a second.
    void passUntil(double time)
    {
        for (; nextRead < time; nextRead += 0.01) {
            fastForwardBy(Seconds(nextRead) - clock.time);
            artwork.drain();
            loop.turn();
        }
        fastForwardBy(Seconds(time) - clock.time);
    }
    // Recordings with the seconds at which each begins.
    explicit Replay(const std::vector<std::pair<std::string, double>>& recordings)
    {
        auto made = std::make_unique<RecordedBus>(loop);
        RecordedBus& bus = *made;
        MprisPlayers shownOnes(surroundings, std::move(made));
        player = shownOnes.applicationWithBundleIdentifier("x");
        const auto observer = std::make_shared<Observer>(*this);
        center.addObserverSelectorNameObject(observer, SELECTOR(Observer, heard), "x.playerInfo");
        std::multimap<double, std::pair<std::string, Json>> steps;
        for (const auto& [name, begins] : recordings) {
            const Recording recording = read(name);
            bus.connections_[name + "c1"].properties = signedBy(name, recording.beginning);
            players[name].playsWhenItComes = recording.beginning.contains("PlaybackStatus")
                && recording.beginning.at("PlaybackStatus") == Value("Playing");
            players[name].yields = name.starts_with("chromium") || name.starts_with("plasma") || name == "kdeconnect";
            for (const Json& step : recording.steps)
                steps.emplace(begins + step.at("at").get<double>(), std::pair(name, step));
        }
        for (const auto& [at, step] : steps) {
            passUntil(at);
            bus.run(step.second, step.first);
            loop.turn();
            note(step.second, step.first, at, !bus.connections_[step.first + "c1"].signals);
            if (step.second.contains("state"))
                check(at);
        }
        passUntil(clock.time.count() + 11); // a player that tells nothing is asked
        if (player->isRunning()
            != std::any_of(players.begin(), players.end(), [](auto& p) { return p.second.isThere; }))
            wrong.push_back("at the end");
    }
};

// Every file and every address of the recordings has a picture here, and each another; none leads to another machine.
std::string Replay::coverAt(const std::string& address)
{
    std::string path = address;
    if (path.starts_with("http"))
        path = "/net/" + std::to_string(std::hash<std::string>()(address));
    else if (path.starts_with("file://"))
        path = percentDecoded(path.substr(7));
    const std::string root = bundleFolder.path();
    if (!path.starts_with(root))
        path = root + path;
    if (!fs::exists(path)) {
        fs::create_directories(fs::path(path).parent_path());
        bundleFolder.write(path.substr(root.size() + 1), std::string(textOf(pngOf(8, 8))) + path);
    }
    return path;
}

Recording Replay::read(const std::string& name)
{
    std::string text = TemporaryFolder::read(kRecordings + "/" + name + ".json");
    const std::string root = bundleFolder.path();
    const std::pair<std::string, std::string> marks[] = {{"\"file:///tmp/", "\"file://" + root + "/tmp/"},
        {"@FILES@", root + "/files"}, {"@HOME@", root + "/home"}, {": NaN", ": null"}}; // the last is sent by some
    for (const auto& [mark, place] : marks) {
        for (std::size_t at = 0; (at = text.find(mark, at)) != std::string::npos; at += place.size())
            text.replace(at, mark.size(), place);
    }
    Json steps = Json::parse(text).at("steps");
    const std::function<void(Json&)> localize = [&](Json& in) {
        if (in.is_object() && in.contains("mpris:artUrl") && in["mpris:artUrl"].is_object()) {
            Json& address = in["mpris:artUrl"]["value"];
            const std::string path = address.get<std::string>().empty() ? "" : coverAt(address);
            if (!path.empty() && !address.get<std::string>().starts_with("file://" + root))
                address = path;
        }
        if (in.is_structured()) {
            for (Json& member : in)
                localize(member);
        }
    };
    localize(steps);
    Dictionary beginning;
    for (const Json& step : steps) {
        if (step.contains("state")) {
            beginning = dictionaryOf(step.at("state").at("player"));
            break;
        }
    }
    for (const Json& step : steps) {
        if (step.contains("state"))
            break;
        if (step.contains("signal") && step.at("signal").get<std::string>().ends_with(".PropertiesChanged")) {
            for (const auto& [key, value] : step.at("arguments")[1].at("value").items())
                beginning.erase(key);
        }
    }
    return {name, steps, beginning};
}

// By what the six files hold, and the two tracks of those players that were written down after documents.
std::string Replay::expected(const Json& state)
{
    static const std::map<std::string, int> years = {{"First Song", 2021}, {"Second \"Song\" & <More>", 1999},
        {"Third Song", 2003}, {"\u591C\u306E\u96FB\u8ECA", 2010},
        {"\u0623\u063A\u0646\u064A\u0629 \u0627\u0644\u0644\u064A\u0644", 2015}, {"Second Song", 2021}};
    const Json player = state.at("player");
    if (!player.contains("Metadata"))
        return {};
    const Json& members = player.at("Metadata").at("value");
    const auto text = [&](const char* key) {
        const Json value = members.contains(key) ? members.at(key).at("value") : Json();
        if (!value.is_array())
            return value.is_string() ? value.get<std::string>() : std::string();
        std::string out;
        for (const Json& one : value)
            out += (out.empty() ? "" : ", ") + one.get<std::string>();
        return out;
    };
    SBTrack track;
    track.name = text("xesam:title");
    const auto year = years.find(track.name);
    if (track.name.empty() && text("xesam:url").ends_with(".mp3"))
        track.name = "06 no_tags here.mp3";
    else if (track.name.empty() && !text("xesam:url").empty())
        track.name = "04 \u65E5\u672C #1 100% why?.ogg";
    track.artist = text("xesam:artist");
    track.album = text("xesam:album");
    track.time = trackTime(members.contains("mpris:length") ? members["mpris:length"]["value"].get<double>() / 1e6 : 0);
    for (const char* key : {"year", "sayonara:year", "date", "DATE", "xesam:contentCreated"}) {
        if (members.contains(key) && year != years.end())
            track.year = year->second;
    }
    const std::string art = text("mpris:artUrl");
    return line(track, art.empty() ? "" : coverAt(art).substr(bundleFolder.path().size()));
}

std::string Replay::shown()
{
    const auto track = player->currentTrack();
    if (!track)
        return "none";
    const auto bytes = track->artworks.empty() ? nullptr : track->artworks.front()->rawData();
    const std::string cover = track->artworks.empty() ? ""
        : bytes ? std::string(textOf(*bytes)).substr(pngOf(8, 8).size() + bundleFolder.path().size())
                : "?";
    return line(*track, cover);
}

void Replay::note(const Json& step, const std::string& who, double at, bool isSilent)
{
    Player& of = players[who];
    if (step.contains("state")) {
        of.settled = expected(step.at("state"));
        const Json& player = step.at("state").at("player");
        of.isSettled = player.contains("PlaybackStatus") && player["PlaybackStatus"]["value"] == "Playing";
        if (of.isSettled && (settled.empty() || !isSilent))
            settled.push_back(of.settled);
        of.isSettled = of.isSettled && !isSilent;
        return;
    }
    of.spoke = at;
    of.isSettled = false;
    of.isThere = step.contains("vanished") ? false : of.isThere || step.contains("appeared");
    bool plays = of.isThere && (step.contains("appeared") ? of.playsWhenItComes : of.plays);
    if (step.contains("signal") && step["signal"].get<std::string>().ends_with(".PropertiesChanged")
        && step["arguments"][0]["value"] == kInterface && step["arguments"][1]["value"].contains("PlaybackStatus"))
        plays = step["arguments"][1]["value"]["PlaybackStatus"]["value"] == "Playing";
    if (plays != of.plays)
        (plays ? of.began : of.ended) = ++order;
    of.plays = plays;
    if (!of.isThere)
        of.began = of.ended = 0;
}

// Once nobody has spoken for a moment, the right one is shown, and what it plays is right.
void Replay::check(double at)
{
    const auto rank = [](const Player& of) {
        return std::tuple(of.isThere, of.plays, of.plays && !of.yields, of.plays ? of.began : of.ended);
    };
    const auto first = std::max_element(
        players.begin(), players.end(), [&](const auto& a, const auto& b) { return rank(a.second) < rank(b.second); });
    for (const auto& [name, of] : players) {
        if (at - of.spoke < 0.5)
            return;
    }
    const auto& [name, of] = *first;
    const std::string is = shown(), who = player->currentTrack() ? player->currentTrack()->composer : "";
    if ((of.plays && who != name) || (of.isSettled && is != of.settled))
        wrong.push_back(std::to_string(at) + " " + who + ": " + is + "\n  not " + name + ": " + of.settled);
    checks += of.isSettled;
}

std::vector<std::string> recordings()
{
    std::vector<std::string> out;
    if (fs::exists(kRecordings)) {
        for (const auto& file : fs::directory_iterator(kRecordings)) {
            if (file.path().extension() == ".json")
                out.push_back(file.path().stem());
        }
    }
    std::sort(out.begin(), out.end());
    return out;
}

// Repetitions, as after a pause, count once.
std::string lines(const std::vector<std::string>& all, bool withLengths = true)
{
    std::string out, last;
    for (const std::string& one : all) {
        const std::string next = (withLengths ? one : std::regex_replace(one, std::regex(" \\d+:\\d\\d "), " ")) + "\n";
        if (next != last)
            out += next;
        last = next;
    }
    return out;
}

// Whatever is told while a player plays is one of the states in which it settles, as a whole and in their order: never
// a file's name for a tagged track, an empty title, or one track's length, year or cover with another's title.
TEST(Replay, RealPlayersTracksAreToldWhole)
{
    if (recordings().empty())
        GTEST_SKIP() << "no recordings";
    int checks = 0;
    for (const std::string& name : recordings()) {
        const Replay replay({{name, 0}});
        EXPECT_EQ(lines(replay.wrong), "") << name;
        // Of those made after documents the times are invented, by which lengths are corrected.
        const bool isRecorded = TemporaryFolder::read(kRecordings + "/" + name + ".json").find("recorded") < 100;
        EXPECT_EQ(lines(replay.told, isRecorded), lines(replay.settled, isRecorded)) << name;
        checks += replay.checks;
    }
    EXPECT_GT(checks, 5 * int(recordings().size()));
}

// Each with each, whoever comes first: an application, one that is gone and back, a browser's two, another device's,
// one that is quiet when it stops. What one says is never taken for the other's, and the right one comes back.
TEST(Replay, OfTwoAtOnceTheRightOneIsShown)
{
    if (recordings().empty())
        GTEST_SKIP() << "no recordings";
    int checks = 0;
    const std::vector<std::string> names
        = {"mpv", "mpd-mpdris2", "chromium", "plasma-browser-integration", "parole", "spotifyd"};
    for (const std::string& one : names) {
        for (const std::string& other : names) {
            for (const double later : {0.4, 7.0, 15.2}) {
                if (one == other)
                    continue;
                const Replay replay({{one, 0}, {other, later}});
                EXPECT_EQ(lines(replay.wrong), "") << one << ", and " << other << " after " << later << " s";
                checks += replay.checks;
            }
        }
    }
    EXPECT_GT(checks, 600);
}

} // namespace
} // namespace vitrel
