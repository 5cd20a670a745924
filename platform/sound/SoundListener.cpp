#include "platform/sound/SoundListener.h"

#include "platform/sound/ListenerLoop.h"
#include "platform/sound/SoundLimits.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace vitrel {

SoundListener::SoundListener(
    std::shared_ptr<SoundRing> ring, std::function<void(bool playing)> playing, Options options)
    : loop_(std::make_unique<Loop>(std::move(ring), std::move(playing), std::move(options)))
{ }

SoundListener::~SoundListener() = default;

void SoundListener::wanted(bool wanted)
{
    loop_->wanted(wanted);
}

SoundListener::Loop::Loop(std::shared_ptr<SoundRing> ring, std::function<void(bool)> playing, Options options)
    : ring_(std::move(ring))
    , playing_(std::move(playing))
    , options_(std::move(options))
    , pause_(options_.firstPause)
{ }

SoundListener::Loop::~Loop()
{
    if (loop_) {
        pa_threaded_mainloop_stop(loop_);
        // Nobody else is left.
        disconnect();
        if (woken_)
            api_->io_free(woken_);
        pa_threaded_mainloop_free(loop_);
    }
    if (wake_ >= 0)
        ::close(wake_);
}

void SoundListener::Loop::wanted(bool wanted)
{
    isWanted_ = wanted;
    const std::lock_guard lock(starting_);
    if (!loop_ && (!wanted || !start()))
        return;
    // Not by the loop's lock: the library reads files and asks the display's server in its thread.
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(wake_, &one, sizeof one);
}

bool SoundListener::Loop::start()
{
    if (wake_ < 0)
        wake_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    loop_ = wake_ >= 0 ? pa_threaded_mainloop_new() : nullptr;
    if (!loop_)
        return false;
    api_ = pa_threaded_mainloop_get_api(loop_);
    woken_ = api_->io_new(
        api_, wake_, PA_IO_EVENT_INPUT,
        [](pa_mainloop_api*, pa_io_event*, int descriptor, pa_io_event_flags_t, void* userdata) {
            std::uint64_t count = 0;
            [[maybe_unused]] const auto size = ::read(descriptor, &count, sizeof count);
            static_cast<Loop*>(userdata)->follow();
        },
        this);
    if (woken_ && pa_threaded_mainloop_start(loop_) == 0)
        return true;
    if (woken_)
        api_->io_free(std::exchange(woken_, nullptr));
    pa_threaded_mainloop_free(std::exchange(loop_, nullptr));
    return false;
}

void SoundListener::Loop::follow()
{
    if (!isWanted_)
        disconnect();
    else if (!context_)
        connect();
}

void SoundListener::Loop::connect()
{
    disconnect();
    context_.reset(pa_context_new(api_, "Vitrel"));
    if (!context_)
        return;
    pa_context_set_state_callback(
        context_.get(), [](pa_context*, void* userdata) { static_cast<Loop*>(userdata)->contextChanged(); }, this);
    // Never starts a server. A failure comes through the callback as well.
    pa_context_connect(context_.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr);
}

void SoundListener::Loop::disconnect()
{
    forgetTimer();
    server_ = {};
    inputs_ = {};
    sink_.reset();
    stream_.reset();
    sinkName_.clear();
    context_.reset();
    isAnyPlaying_ = false;
    streamPause_ = Seconds(0);
    tell(false);
}

void SoundListener::Loop::contextChanged()
{
    switch (pa_context_get_state(context_.get())) {
    case PA_CONTEXT_READY: {
        pause_ = options_.firstPause;
        pa_context_set_subscribe_callback(
            context_.get(),
            [](pa_context*, pa_subscription_event_type_t event, std::uint32_t, void* userdata) {
                static_cast<Loop*>(userdata)->happened(event);
            },
            this);
        constexpr auto kEvents = pa_subscription_mask_t(PA_SUBSCRIPTION_MASK_SERVER | PA_SUBSCRIPTION_MASK_SINK_INPUT);
        if (pa_operation* const operation = pa_context_subscribe(context_.get(), kEvents, nullptr, nullptr))
            pa_operation_unref(operation);
        askServer();
        break;
    }
    case PA_CONTEXT_FAILED:
    case PA_CONTEXT_TERMINATED:
        failed();
        break;
    default:
        break;
    }
}

// A context that has failed is of no more use but for its clock.
void SoundListener::Loop::failed()
{
    server_ = {};
    inputs_ = {};
    sink_.reset();
    stream_.reset();
    isAnyPlaying_ = false;
    tell(false);
    later(pause_, &Loop::connect);
    pause_ = std::min(pause_ * 2, options_.longestPause);
}

void SoundListener::Loop::later(Seconds pause, void (Loop::*what)())
{
    forgetTimer();
    atTime_ = what;
    timer_ = pa_context_rttime_new(
        context_.get(), pa_rtclock_now() + pa_usec_t(pause.count() * 1e6),
        [](pa_mainloop_api*, pa_time_event*, const timeval*, void* userdata) {
            auto& loop = *static_cast<Loop*>(userdata);
            loop.forgetTimer();
            (loop.*loop.atTime_)();
        },
        this);
}

void SoundListener::Loop::forgetTimer()
{
    if (timer_)
        api_->time_free(std::exchange(timer_, nullptr));
}

void SoundListener::Loop::take(std::span<const float> samples, unsigned rate)
{
    ring_->write(samples, rate);
    const bool isSilent
        = std::none_of(samples.begin(), samples.end(), [](float sample) { return std::abs(sample) >= kSilentSample; });
    silence_ = isSilent ? silence_ + double(samples.size()) / rate : 0;
    if (!isSilent)
        tell(true);
    else if (silence_ >= 1)
        tell(false);
}

void SoundListener::Loop::tell(bool playing)
{
    if (std::exchange(isToldPlaying_, playing) != playing && playing_)
        playing_(playing);
}

} // namespace vitrel
