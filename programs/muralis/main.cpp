#include "companion/token/Token.h"
#include "platform/appkit/ImageCoding.h"
#include "platform/confinement/Confinement.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSDistributedNotificationCenter.h"
#include "platform/foundation/OutOfMemory.h"
#include "platform/foundation/Queue.h"
#include "platform/foundation/RunLoop.h"
#include "platform/foundation/Surroundings.h"
#include "platform/scriptingbridge/DemoPlayer.h"
#include "platform/scriptingbridge/MprisPlayers.h"
#include "platform/scriptingbridge/SessionBus.h"
#include "programs/muralis/http/Admission.h"
#include "programs/muralis/http/HttpServer.h"
#include "programs/muralis/nowplaying/NowPlaying.h"
#include "programs/muralis/wallpaper/Wallpaper.h"
#include "programs/supervisor/HostSignals.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <iostream>
#include <random>

#include <unistd.h>

namespace vitrel {
namespace {

// Players answer within a few milliseconds; the first caller is not to hear that there is none.
constexpr Seconds kPlayersTime{0.1};
// To put the wallpaper back; a desktop that doesn't answer isn't waited for much longer.
constexpr Seconds kEndTime{8};

struct Options {
    std::uint16_t port = kCompanionPort;
    bool demo = false, wallpaper = false;
    std::string player; // empty: whichever plays
};

int complain(const std::string& message, int code)
{
    std::cerr << "muralis: " << message << '\n';
    return code;
}

std::string randomName()
{
    std::random_device random;
    char text[20];
    std::snprintf(text, sizeof text, "%08x%08x", random(), random());
    return text;
}

// Each part after what it needs to its end.
class Companion
{
public:
    explicit Companion(const Options& options)
    {
        surroundings_.clock = &clock_;
        surroundings_.runLoop = &runLoop_;
        surroundings_.userInteractiveQueue = surroundings_.userInitiatedQueue = &queue_;
        surroundings_.artworkQueue = &artwork_;
        surroundings_.classBundle = surroundings_.mainBundle = &bundle_;
        surroundings_.notificationCenter = &notifications_;
        surroundings_.log = standardErrorLog(clock_);
        queue_.async([] { warmImageDecoding(); });
        if (options.demo) {
            players_ = std::make_unique<DemoPlayer>(surroundings_, demoTracks(bundle_));
        } else {
            auto players
                = std::make_unique<MprisPlayers>(surroundings_, std::make_unique<SessionBus>(runLoop_), options.player);
            players->settle(kPlayersTime);
            players_ = std::move(players);
        }
        surroundings_.players = players_.get();
        nowPlaying_ = std::make_unique<NowPlaying>(surroundings_, randomName());
        showsWallpaper_ = options.wallpaper;
    }

    int serve(std::uint16_t port)
    {
        auto server = HttpServer::listen(runLoop_, port,
            [this](const HttpRequest& request, const HttpServer::Owner& owner) { return answer(request, owner); });
        if (!server)
            return complain(server.error(), 1);
        if (showsWallpaper_)
            showWallpaper();
        runLoop_.run();
        if (wallpaper_)
            wallpaper_->putBack();
        return 0;
    }

private:
    void showWallpaper()
    {
        wallpaper_ = Wallpaper::start(surroundings_, Wallpaper::userFolder());
        if (wallpaper_)
            nowPlaying_->setOnArtwork([this](const auto& artwork) { wallpaper_->show(artwork); });
        else
            complain("this desktop offers no way to set its wallpaper; --wallpaper does nothing", 0);
    }

    HttpAnswer answer(const HttpRequest& request, const HttpServer::Owner& owner)
    {
        const auto question = admission_.admit(request, [&] { return owner() == geteuid(); });
        if (!question)
            return nullptr;
        return *question == CompanionQuestion::Data ? nowPlaying_->dataAnswer() : nowPlaying_->stateAnswer();
    }

    SystemClock clock_;
    RunLoop runLoop_{clock_};
    HostSignals signals_{runLoop_, [this](int) {
                             HostSignals::capExit(wallpaper_ ? kEndTime : Seconds(1));
                             runLoop_.stop();
                         }}; // before any thread is
    NSBundle bundle_ = NSBundle::forExecutable();
    NSDistributedNotificationCenter notifications_{runLoop_};
    PoolQueue queue_{2}, artwork_{2};
    PlayerSurroundings surroundings_;
    std::unique_ptr<PlayerProvider> players_;
    std::unique_ptr<NowPlaying> nowPlaying_;
    Admission admission_{clock_};
    bool showsWallpaper_ = false;
    std::unique_ptr<Wallpaper> wallpaper_;
};

} // namespace
} // namespace vitrel

int main(int argc, char** argv)
{
    using namespace vitrel;
    endWhereMemoryEnds("muralis");
    CLI::App app("Tells Vitrel's savers on this machine what the player plays", "muralis");
    Options options;
    app.set_version_flag("--version", "muralis " VITREL_VERSION);
    app.add_option("--port", options.port, "Listen on this port of the loopback device; 9802 is where savers ask")
        ->type_name("PORT")
        ->check(CLI::Range(1, 65535).description("1 to 65535"));
    app.add_flag("--demo", options.demo, "Tell of a built-in player of three tracks");
    app.add_option("--player", options.player, "Follow the player of this name before all others")->type_name("NAME");
    app.add_flag("--wallpaper", options.wallpaper,
        "Make the cover of what plays the desktop's wallpaper; the former one comes back at the end");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0)
            return app.exit(error);
        return complain(error.what(), 2);
    }
    // Before the first thread; where its unit has done more already, this is no harm.
    confine(ConfinementKind::Service, {});
    return Companion(options).serve(options.port);
}
