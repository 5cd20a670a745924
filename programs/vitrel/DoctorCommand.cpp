// doctor: what a user asks when something is missing.
#include "FeedKit/FeedParser.h"
#include "FeedKit/fetch/CurlFetcher.h"
#include "companion/token/Token.h"
#include "feedinput/FeedInput.h"
#include "music/NqiTunesManager.h"
#include "platform/appkit/NSImage.h"
#include "platform/foundation/UUID.h"
#include "platform/sound/SoundExamination.h"
#include "preferences/PreferencesWC.h"
#include "preferences/Settings.h"
#include "programs/vitrel/Commands.h"
#include "programs/vitrel/Report.h"
#include "programs/vitrel/SaverHost.h"
#include "support/DateKit.h"

#include <cmath>
#include <future>

namespace vitrel {

namespace {

constexpr Seconds kPlayersTime{2};
constexpr Seconds kSoundTime{3};
constexpr FeedKit::FetchLimits kFeedLimits{.bytes = 64u << 20, .time = std::chrono::seconds(20), .redirects = 10};
constexpr auto kCompanionTime = std::chrono::seconds(5);

void examinePlayer(SaverHost& host, Report& report)
{
    if (PreferencesWC::isCatalinaHTTPAPIFixEnabled(host.surroundings())) {
        report.idle("player", "not read here: the companion tells the track");
        return report.idle("artwork", "comes with it");
    }
    host.meetPlayers(kPlayersTime);
    const auto& manager = NqiTunesManager::shared(host.surroundings());
    const auto player = host.surroundings().players->applicationWithBundleIdentifier(manager.bundleIDiTunesMusic());
    if (!host.hasSessionBus()) {
        report.broken("player", "there is no session bus; start Vitrel from within a desktop session");
        return report.idle("artwork", "without a player there is none");
    }
    const auto track = send(player, &SBApplication::currentTrack);
    if (!player || !player->isRunning()) {
        report.idle("player", "none runs; start one that speaks MPRIS, and for mpv the package mpv-mpris");
        return report.idle("artwork", "without a player there is none");
    }
    if (!track || track->name.empty()) {
        report.good("player", "one runs, and has no track; play something");
        return report.idle("artwork", "without a track there is none");
    }
    report.good("player",
        "\"" + track->name + "\"" + (track->artist.empty() ? "" : " by " + track->artist)
            + (player->playerState() == kPlayerStatePlaying ? ", playing" : ", not playing"));
    if (track->artworks.empty())
        return report.idle("artwork", "the player names none; many do once the files have covers");
    const auto bytes = track->artworks.front()->rawData();
    const auto image = bytes ? NSImage::imageWithData(*bytes) : nullptr;
    if (!image || image->representations().empty())
        return report.broken("artwork", "the player names one that can't be read; see whether its file is there");
    const NSBitmapImageRep& picture = image->representations().front();
    report.good("artwork", std::to_string(picture.pixelsWide()) + "x" + std::to_string(picture.pixelsHigh()));
}

std::string decibels(double level)
{
    return level > 1e-5 ? std::to_string(int(std::lround(20 * std::log10(level)))) + " dB now" : "nothing plays now";
}

void examineHearing(SaverHost& host, Report& report)
{
    const bool listens = Settings::shared(host.surroundings()).listensToSound();
    const SoundExamination sound = examineSound(kSoundTime);
    const std::string server = sound.server + (sound.version.empty() ? "" : " " + sound.version);
    const std::string output = "\"" + (sound.description.empty() ? sound.output : sound.description) + "\"";
    if (sound.output.empty())
        return report.idle(
            "sound", (server.empty() ? "" : server + ": ") + sound.problem + "; compositions hear nothing");
    if (!sound.problem.empty()) // an output that rests may take seconds to give its first sample
        return report.idle("sound", server + ", " + output + ": " + sound.problem + "; play something and look again");
    const std::string found = server + ", " + output + ", " + decibels(sound.level.value_or(0));
    if (!listens)
        return report.idle("sound", found + "; switched off in the settings window, so compositions hear nothing");
    report.good("sound", found);
}

void examineCompanion(SaverHost& host, Report& report)
{
    const bool needed = PreferencesWC::isCatalinaHTTPAPIFixEnabled(host.surroundings());
    const auto date = universalDatetimeFormatted(host.surroundings().clock->date(), kCompanionDatePattern);
    const auto url = "http://localhost:" + std::to_string(kCompanionPort) + std::string(kCompanionStateTarget)
        + escapedCompanionQuery(UUIDString(), date);
    using Answer = std::pair<std::optional<Bytes>, std::optional<std::string>>;
    const auto answered = std::make_shared<std::promise<Answer>>();
    auto future = answered->get_future();
    host.surroundings()
        .urlSession
        ->dataTaskWithURLCompletionHandler(url,
            [answered](std::optional<Bytes> data, std::optional<std::string> error) {
                answered->set_value({std::move(data), std::move(error)});
            })
        ->resume();
    Answer answer;
    if (future.wait_for(kCompanionTime) == std::future_status::ready)
        answer = future.get();
    else
        answer.second = "it doesn't answer";
    if (answer.first && textOf(*answer.first).find("\"ChangeID\"") != std::string_view::npos)
        return report.good(
            "companion", needed ? "muralis answers" : "muralis answers, though the player is read directly");
    const std::string why = answer.first ? "something else answers on its port, or it refuses" : *answer.second;
    if (needed)
        return report.broken("companion", why + "; start muralis, or enable its user unit");
    report.idle("companion", "not needed: the player is read directly");
}

void examineFeed(SaverHost& host, Report& report)
{
    const auto item = Settings::shared(host.surroundings()).selectedVitrelItem();
    auto address = item ? item->rssFeedURL().value_or("") : "";
    if (address.empty())
        address = kDefaultFeedAddress;
    FeedKit::FeedParser parser(FeedKit::URL(address), std::make_shared<FeedKit::CurlFetcher>(kFeedLimits));
    const auto feed = parser.parse();
    if (!feed) {
        const auto& error = feed.error();
        const auto why = error.payload().empty() ? error.failureReason() : error.payload();
        return report.broken("feed", address + ": " + why + "; vitrel feed-url sets another");
    }
    if (feed->jsonFeed())
        return report.broken("feed", address + " is a JSON feed, which compositions don't get; take its RSS or Atom");
    const auto dictionary
        = feed->rssFeed() ? feedDictionary(*feed->rssFeed(), 0, {}) : feedDictionary(*feed->atomFeed(), 0, {});
    const auto* title = dictionary.at("Title").as<std::string>();
    const auto* articles = dictionary.at("Articles").array();
    const auto found = (title && !title->empty() ? "\"" + *title + "\", " : "")
        + std::to_string(articles ? articles->size() : 0) + " articles, from " + address;
    if (!item)
        return report.idle("feed", found + "; no composition has been chosen, so none gets it");
    report.good("feed", found);
}

void examineConfinement(Report& report)
{
    const Confined here = confinementHere();
    std::string holds = here.landlock > 0 ? "Landlock " + std::to_string(here.landlock) : "";
    if (here.calls)
        holds += (holds.empty() ? "" : " and ") + std::string("a filter of system calls");
    if (here.lacks.empty())
        return report.good("sandbox", holds);
    report.idle("sandbox",
        here.lacks
            + (holds.empty() ? "; compositions can do what any program can"
                             : "; with " + holds + " compositions can still read and write files"));
}

int doctor(const SaverOptions& options)
{
    const auto made = SaverHost::make(options, SaverHost::Reach::Free);
    if (!made)
        return made.error();
    const auto& host = *made;
    host->begin();
    Report report;
    examineDesktop(report);
    examineConfinement(report);
    examinePlayer(*host, report);
    examineHearing(*host, report);
    examineCompanion(*host, report);
    examineFeed(*host, report);
    return report.exitCode();
}

} // namespace

void addDoctor(CLI::App& app, Action& action)
{
    auto* command
        = app.add_subcommand("doctor", "Look at the desktop, the player and the feed, and say what is missing");
    const auto options = std::make_shared<SaverOptions>();
    command->add_option("--player", options->player, "Look at this player, by its name on the bus");
    command->add_option("--system-version", options->systemVersion, "As for play");
    command->callback([&action, options] { action = [=] { return doctor(*options); }; });
}

} // namespace vitrel
