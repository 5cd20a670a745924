#include "programs/idle/IdleProgram.h"

#include "programs/idle/IdlePlay.h"
#include "programs/idle/IdleSource.h"
#include "programs/idle/LoginSession.h"
#include "programs/idle/PlayProcess.h"
#include "programs/idle/PowerSupply.h"
#include "programs/idle/SaverService.h"
#include "programs/supervisor/HostSignals.h"

#include <algorithm>
#include <iostream>

namespace vitrel {

namespace {

// Between looks at the plug, which there are only while the desktop is idle.
constexpr Seconds kPowerLook{30};

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
    { }

    int run();

private:
    void finish();
    void connectLogin();
    void lookAtPower();
    void inhibitorsChanged();

    const IdleOptions& options_;
    SystemClock clock_;
    RunLoop loop_{clock_};
    HostSignals signals_; // ahead of whatever starts
    PlayProcess process_;
    IdlePlay play_;
    LoginSession login_;
    SaverService service_;
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
    if (!options_.notOnBattery)
        return;
    play_.setHold(Hold::battery, isOnBattery());
    powerTimer_ = loop_.scheduledTimer(kPowerLook, false, [this] {
        if (play_.isIdle() || play_.isPlaying())
            lookAtPower();
    });
}

int IdleProgram::run()
{
    if (const auto kind = idleSourceHere(loop_); !kind.name.empty())
        source_ = beginIdleSource(loop_, options_.after);
    else
        std::cerr << "vitrel: " << kind.advice << '\n';
    if (!source_)
        return 1;
    source_->onIdle = [this] {
        lookAtPower();
        play_.becameIdle();
    };
    source_->onActive = [this] { play_.becameActive(); };
    source_->onFullScreen = [this](bool is) { play_.setHold(Hold::fullScreen, is); };
    source_->onLost = [this] { finish(); };
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
