#include "platform/sound/SoundExamination.h"

#include "platform/sound/MonitorStream.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace vitrel {
namespace {

constexpr double kListened = 0.2; // seconds

struct FreeLoop {
    void operator()(pa_mainloop* loop) const { pa_mainloop_free(loop); }
};

class Examiner
{
public:
    explicit Examiner(Seconds limit)
        : end_(pa_rtclock_now() + pa_usec_t(std::max(limit.count(), 0.0) * 1e6))
        , loop_(pa_mainloop_new())
        , context_(loop_ ? pa_context_new(pa_mainloop_get_api(loop_.get()), "Vitrel") : nullptr)
    { }

    SoundExamination examine()
    {
        if (context_ && connect() && askServer() && askSink())
            listen();
        return result_;
    }

private:
    // Turns the loop until `done`; else says what the problem is.
    template <class Done> bool waitUntil(Done done, const char* problem)
    {
        for (pa_usec_t now; !done() && (now = pa_rtclock_now()) < end_;)
            if (!isAlive() || pa_mainloop_prepare(loop_.get(), int(std::min<pa_usec_t>(end_ - now, 100'000))) < 0
                || pa_mainloop_poll(loop_.get()) < 0 || pa_mainloop_dispatch(loop_.get()) < 0)
                break;
        if (done())
            return true;
        result_.problem = isAlive() ? problem : pa_strerror(pa_context_errno(context_.get()));
        return false;
    }
    bool isAlive() const { return PA_CONTEXT_IS_GOOD(pa_context_get_state(context_.get())) || !isBegun_; }

    bool connect();
    bool askServer();
    bool askSink();
    void listen();

    const pa_usec_t end_;
    SoundExamination result_;
    bool isBegun_ = false;
    std::unique_ptr<pa_mainloop, FreeLoop> loop_;
    PulseContext context_;
    PulseOperation question_;
    std::optional<PulseSink> sink_;
    bool isAnswered_ = false;
};

bool Examiner::connect()
{
    if (pa_context_connect(context_.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
        result_.problem = pa_strerror(pa_context_errno(context_.get()));
        return false;
    }
    isBegun_ = true;
    return waitUntil(
        [&] { return pa_context_get_state(context_.get()) == PA_CONTEXT_READY; }, "the sound server doesn't answer");
}

bool Examiner::askServer()
{
    question_.reset(pa_context_get_server_info(
        context_.get(),
        [](pa_context*, const pa_server_info* info, void* userdata) {
            auto& examiner = *static_cast<Examiner*>(userdata);
            const auto text = [](const char* word) { return std::string(word ? word : ""); };
            if (info)
                examiner.result_ = {
                    text(info->server_name), text(info->server_version), text(info->default_sink_name), {}, {}, {}, {}};
            examiner.isAnswered_ = true;
        },
        this));
    if (!waitUntil([&] { return isAnswered_; }, "the sound server doesn't answer"))
        return false;
    if (result_.output.empty())
        result_.problem = "there is no output";
    return !result_.output.empty();
}

bool Examiner::askSink()
{
    isAnswered_ = false;
    question_.reset(pa_context_get_sink_info_by_name(
        context_.get(), result_.output.c_str(),
        [](pa_context*, const pa_sink_info* info, int end, void* userdata) {
            auto& examiner = *static_cast<Examiner*>(userdata);
            if (end == 0 && info && info->name == examiner.result_.output)
                examiner.sink_ = PulseSink::of(*info);
            examiner.isAnswered_ |= end != 0;
        },
        this));
    if (!waitUntil([&] { return isAnswered_; }, "the sound server doesn't answer"))
        return false;
    if (!sink_) {
        result_.problem = "the output has no monitor";
        return false;
    }
    result_.description = sink_->description;
    result_.monitor = sink_->monitor;
    return true;
}

void Examiner::listen()
{
    double level = 0, heard = 0;
    bool isEnded = false;
    std::unique_ptr<MonitorStream> stream;
    MonitorStream::Events events;
    events.verified = [&] { stream->cork(false); };
    events.samples = [&](std::span<const float> samples, unsigned rate) {
        for (const float sample : samples)
            level = std::max(level, double(std::abs(sample)));
        heard += double(samples.size()) / rate;
    };
    events.ended = [&] { isEnded = true; };
    stream = std::make_unique<MonitorStream>(context_.get(), *sink_, std::move(events));
    if (!waitUntil([&] { return isEnded || heard >= kListened; }, "the output's monitor gives nothing"))
        return;
    if (isEnded)
        result_.problem = "the output's monitor can't be opened";
    else
        result_.level = std::isfinite(level) ? level : 0;
}

} // namespace

SoundExamination examineSound(Seconds limit)
{
    return Examiner(limit).examine();
}

} // namespace vitrel
