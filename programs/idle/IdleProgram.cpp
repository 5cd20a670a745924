#include "programs/idle/IdleProgram.h"

#include "platform/foundation/DefaultsStore.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/Surroundings.h"
#include "platform/screensaver/ScreenSaverDefaults.h"
#include "preferences/Settings.h"
#include "preferences/StartSettings.h"
#include "programs/idle/IdlePlay.h"
#include "programs/idle/IdleSource.h"
#include "programs/idle/LoginSession.h"
#include "programs/idle/PlayProcess.h"
#include "programs/idle/PowerSupply.h"
#include "programs/idle/SaverService.h"
#include "programs/supervisor/HostSignals.h"
#include "programs/watch/FileWatch.h"

#include <algorithm>
#include <iostream>

namespace vitrel {

namespace {

// Between looks at the plug, which there are only while the desktop is idle.
constexpr Seconds kPowerLook{30};

// What the user has chosen, as it is now.
class StoredStart
{
public:
    StoredStart(const Clock& clock, RunLoop& loop)
        : defaults_(userFolder(UserFolder::Config), files_, standardErrorLog(clock))
    {
        surroundings_.clock = &clock;
        surroundings_.runLoop = &loop;
        surroundings_.defaults = &defaults_;
        surroundings_.classBundle = surroundings_.mainBundle = &bundle_;
    }
    StartSettings now() const { return startSettings(surroundings_); }
    // From a turn, whenever something was stored.
    void watch(std::function<void()> onChange)
    {
        const auto domain = Settings::shared(surroundings_).screenSaverDefaults()->domain();
        if (!defaults_.isVolatile())
            watch_ = std::make_unique<FileWatch>(
                *surroundings_.runLoop, defaults_.pathForDomain(domain), std::move(onChange));
    }

private:
    FileSystem files_;
    DefaultsStore defaults_;
    NSBundle bundle_ = NSBundle::forExecutable();
    SettingsSurroundings surroundings_;
    std::unique_ptr<FileWatch> watch_;
};

class IdleProgram
{
public:
    IdleProgram(const IdleOptions& options, const std::string& saverProgram)
        : options_(options)
        , signals_(loop_, [this](int) { finish(); })
        , process_(loop_, saverProgram, options.play)
        , play_(loop_, process_)
        , login_(loop_)
        , service_(loop_)
        , stored_(clock_, loop_)
        , settings_(stored_.now())
    { }

    int run();

private:
    void finish();
    void connectLogin();
    void lookAtPower();
    void inhibitorsChanged();
    Seconds after() const { return options_.after.value_or(Seconds(settings_.afterMinutes * 60)); }
    bool beginToWait();
    void settingsChanged();

    const IdleOptions& options_;
    SystemClock clock_;
    RunLoop loop_{clock_};
    HostSignals signals_; // ahead of whatever starts
    PlayProcess process_;
    IdlePlay play_;
    LoginSession login_;
    SaverService service_;
    StoredStart stored_;
    StartSettings settings_;
    std::unique_ptr<IdleSource> source_;
    std::shared_ptr<NSTimer> powerTimer_;
    bool applications_ = false, system_ = false, finishing_ = false;
};

void IdleProgram::finish()
{
    if (!std::exchange(finishing_, true))
        play_.finish([this] { loop_.stop(); });
}

void IdleProgram::inhibitorsChanged()
{
    play_.setHold(Hold::application, applications_ || system_);
}

void IdleProgram::connectLogin()
{
    login_.onLocked = [this](bool locked) { play_.setHold(Hold::locked, locked); };
    login_.onAsleep = [this](bool asleep) { play_.setHold(Hold::asleep, asleep); };
    login_.onInhibitors = [this](const std::vector<Inhibitor>& list) {
        system_ = std::any_of(list.begin(), list.end(), holdsSaverBack);
        inhibitorsChanged();
    };
    service_.onChanged = [this](const InhibitorBook& book) {
        applications_ = book.holdsSaverBack();
        inhibitorsChanged();
    };
    login_.start();
    service_.start();
}

void IdleProgram::lookAtPower()
{
    send(powerTimer_, &NSTimer::invalidate);
    const bool leavesBattery = options_.notOnBattery || !settings_.onBattery;
    play_.setHold(Hold::battery, leavesBattery && isOnBattery());
    if (!leavesBattery)
        return;
    powerTimer_ = loop_.scheduledTimer(kPowerLook, false, [this] {
        if (play_.isIdle() || play_.isPlaying())
            lookAtPower();
    });
}

bool IdleProgram::beginToWait()
{
    source_ = beginIdleSource(loop_, after());
    if (!source_)
        return false;
    source_->onIdle = [this] {
        lookAtPower();
        play_.becameIdle();
    };
    source_->onActive = [this] { play_.becameActive(); };
    source_->onFullScreen = [this](bool is) { play_.setHold(Hold::fullScreen, is); };
    source_->onLost = [this] { finish(); };
    return true;
}

// The user has chosen other minutes, or otherwise of the battery: both count from now on.
void IdleProgram::settingsChanged()
{
    const Seconds before = after();
    settings_ = stored_.now();
    if (play_.isIdle() || play_.isPlaying())
        lookAtPower();
    if (after() == before || finishing_)
        return;
    // One at a time: the former one's end brings back what it had changed of the server's.
    source_.reset();
    play_.becameActive();
    if (!beginToWait())
        finish();
}

int IdleProgram::run()
{
    if (const auto kind = idleSourceHere(loop_); kind.name.empty()) {
        std::cerr << "vitrel: " << kind.advice << '\n';
        return 1;
    }
    if (!beginToWait())
        return 1;
    stored_.watch([this] { settingsChanged(); });
    connectLogin();
    loop_.run();
    return 0;
}

} // namespace

int waitForIdleness(const IdleOptions& options, const std::string& saverProgram)
{
    IdleProgram program(options, saverProgram);
    return program.run();
}

} // namespace vitrel
