#include "platform/sound/ListenerLoop.h"

#include <algorithm>

namespace vitrel {
namespace {

// When the server ends a stream, or opens another source, it is asked anew after a while.
constexpr Seconds kStreamPause{0.1};

} // namespace

void SoundListener::Loop::happened(pa_subscription_event_type_t event)
{
    if ((event & PA_SUBSCRIPTION_EVENT_FACILITY_MASK) == PA_SUBSCRIPTION_EVENT_SINK_INPUT)
        askInputs();
    else
        askServer();
}

void SoundListener::Loop::askServer()
{
    server_.isAskedAgain = server_.operation || sink_;
    if (server_.isAskedAgain)
        return;
    server_.operation.reset(pa_context_get_server_info(
        context_.get(),
        [](pa_context*, const pa_server_info* info, void* userdata) {
            static_cast<Loop*>(userdata)->serverAnswered(info);
        },
        this));
}

void SoundListener::Loop::serverAnswered(const pa_server_info* info)
{
    server_.operation.reset();
    if (!info || !info->default_sink_name || !*info->default_sink_name) {
        stream_.reset();
        corkOrNot();
        return;
    }
    sinkName_ = info->default_sink_name;
    sink_.reset(pa_context_get_sink_info_by_name(
        context_.get(), sinkName_.c_str(),
        [](pa_context*, const pa_sink_info* sink, int end, void* userdata) {
            static_cast<Loop*>(userdata)->sinkAnswered(sink, end);
        },
        this));
}

void SoundListener::Loop::sinkAnswered(const pa_sink_info* info, int end)
{
    if (end == 0 && info) {
        const auto sink = PulseSink::of(*info);
        if (sink && sink->name == sinkName_)
            listenTo(*sink);
        return;
    }
    sink_.reset();
    if (stream_ && stream_->sink().name != sinkName_) { // what is the default now has gone, or can't be heard
        stream_.reset();
        corkOrNot();
    }
    if (server_.isAskedAgain)
        askServer();
}

void SoundListener::Loop::listenTo(const PulseSink& sink)
{
    if (stream_ && stream_->sink().index == sink.index && stream_->sink().monitor == sink.monitor)
        return;
    stream_.reset();
    corkOrNot();
    MonitorStream::Events events;
    events.verified = [this] {
        streamPause_ = Seconds(0);
        corkOrNot();
    };
    events.samples = [this](std::span<const float> samples, unsigned rate) { take(samples, rate); };
    events.ended = [this] { streamEnded(); };
    stream_ = std::make_unique<MonitorStream>(context_.get(), sink, std::move(events), options_.source);
    askInputs();
}

void SoundListener::Loop::streamEnded()
{
    stream_.reset();
    corkOrNot();
    streamPause_ = std::clamp(streamPause_ * 2, kStreamPause, std::max(kStreamPause, options_.longestPause));
    later(streamPause_, &Loop::askServer);
}

void SoundListener::Loop::askInputs()
{
    inputs_.isAskedAgain = inputs_.operation != nullptr;
    if (inputs_.isAskedAgain)
        return;
    isAnyCounted_ = false;
    inputs_.operation.reset(pa_context_get_sink_input_info_list(
        context_.get(),
        [](pa_context*, const pa_sink_input_info* info, int end, void* userdata) {
            static_cast<Loop*>(userdata)->inputAnswered(info, end);
        },
        this));
}

void SoundListener::Loop::inputAnswered(const pa_sink_input_info* info, int end)
{
    if (end == 0 && info) {
        isAnyCounted_ |= !info->corked && !info->mute && stream_ && info->sink == stream_->sink().index;
        return;
    }
    inputs_.operation.reset();
    isAnyPlaying_ = isAnyCounted_;
    corkOrNot();
    if (inputs_.isAskedAgain)
        askInputs();
}

void SoundListener::Loop::corkOrNot()
{
    if (stream_)
        stream_->cork(!isAnyPlaying_);
    if (!stream_ || !isAnyPlaying_)
        tell(false);
}

} // namespace vitrel
