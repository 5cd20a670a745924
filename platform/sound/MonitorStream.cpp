#include "platform/sound/MonitorStream.h"

#include "platform/sound/SoundLimits.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace vitrel {
namespace {

// Two channels, mixed here: servers differ in how they mix.
constexpr pa_sample_spec kAsked{PA_SAMPLE_FLOAT32NE, 44'100, 2};
constexpr unsigned kMostChannels = PA_CHANNELS_MAX;
// What is delivered at once, as an upper limit.
constexpr std::uint32_t kFragment = 44'100 / 50 * 2 * sizeof(float); // 20 ms
constexpr std::size_t kStale = 20; // milliseconds
constexpr std::size_t kMostFrames = kMostSoundRate; // of a hole
constexpr auto kFlags = pa_stream_flags_t(
    PA_STREAM_START_CORKED | PA_STREAM_DONT_MOVE | PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_INHIBIT_AUTO_SUSPEND);

MonitorStream& self(void* userdata)
{
    return *static_cast<MonitorStream*>(userdata);
}

} // namespace

MonitorStream::MonitorStream(pa_context* context, PulseSink sink, Events events, const std::string& source)
    : context_(context)
    , sink_(std::move(sink))
    , events_(std::move(events))
    , stream_(pa_stream_new(context, "Music visualisation", &kAsked, nullptr))
{
    if (!stream_)
        return;
    pa_stream_set_state_callback(
        stream_.get(), [](pa_stream*, void* userdata) { self(userdata).changed(); }, this);
    pa_stream_set_read_callback(
        stream_.get(), [](pa_stream*, std::size_t, void* userdata) { self(userdata).read(); }, this);
    // Not all servers heed that it mustn't be moved.
    pa_stream_set_moved_callback(
        stream_.get(), [](pa_stream*, void* userdata) { self(userdata).end(); }, this);
    pa_buffer_attr attributes;
    std::memset(&attributes, 0xFF, sizeof attributes); // the server's choice
    attributes.fragsize = kFragment;
    pa_stream_connect_record(
        stream_.get(), source.empty() ? sink_.monitor.c_str() : source.c_str(), &attributes, kFlags);
}

void MonitorStream::changed()
{
    const auto state = pa_stream_get_state(stream_.get());
    if (state == PA_STREAM_READY)
        check();
    else if (state == PA_STREAM_FAILED || state == PA_STREAM_TERMINATED)
        end();
}

void MonitorStream::check()
{
    const char* const name = pa_stream_get_device_name(stream_.get());
    const pa_sample_spec* const spec = pa_stream_get_sample_spec(stream_.get());
    if (!name || name != sink_.monitor || !spec || spec->format != PA_SAMPLE_FLOAT32NE || spec->channels < 1
        || spec->channels > kMostChannels || spec->rate < kLeastSoundRate || spec->rate > kMostSoundRate) {
        end();
        return;
    }
    channels_ = spec->channels;
    rate_ = spec->rate;
    // By its number, for names may lie.
    question_.reset(pa_context_get_source_info_by_index(
        context_, pa_stream_get_device_index(stream_.get()),
        [](pa_context*, const pa_source_info* info, int end, void* userdata) {
            MonitorStream& stream = self(userdata);
            if (end != 0)
                stream.answered();
            else // nothing may end within an answer that has more to come
                stream.isOfSink_
                    = info && info->monitor_of_sink != PA_INVALID_INDEX && info->monitor_of_sink == stream.sink_.index;
        },
        this));
    if (!question_)
        end();
}

void MonitorStream::answered()
{
    question_.reset();
    isVerified_ = isOfSink_;
    if (!isVerified_)
        end();
    else if (const auto verified = events_.verified)
        verified();
}

void MonitorStream::cork(bool corked)
{
    if (!isVerified_ || isCorked_ == corked)
        return;
    isCorked_ = corked;
    // What was left from before would be heard now; and PipeWire has a block of it beyond our reach.
    stale_ = corked ? 0 : rate_ * kStale / 1000;
    for (pa_operation* const operation : {corked ? nullptr : pa_stream_flush(stream_.get(), nullptr, nullptr),
             pa_stream_cork(stream_.get(), corked, nullptr, nullptr)})
        if (operation)
            pa_operation_unref(operation);
}

void MonitorStream::read()
{
    const void* data = nullptr;
    std::size_t size = 0;
    while (pa_stream_readable_size(stream_.get()) > 0 && pa_stream_peek(stream_.get(), &data, &size) == 0 && size > 0) {
        if (isVerified_) {
            mono_.assign(std::min(size / sizeof(float) / channels_, kMostFrames), 0);
            const auto* sample = static_cast<const float*>(data); // null for a hole
            for (std::size_t frame = 0; sample && frame < mono_.size(); ++frame) {
                for (unsigned channel = 0; channel < channels_; ++channel)
                    mono_[frame] += *sample++;
                mono_[frame] /= float(channels_);
            }
            const std::size_t dropped = std::min(stale_, mono_.size());
            stale_ -= dropped;
            if (dropped < mono_.size())
                events_.samples(std::span(mono_).subspan(dropped), rate_);
        }
        pa_stream_drop(stream_.get());
    }
}

void MonitorStream::end()
{
    isVerified_ = false;
    question_.reset();
    pa_stream_set_read_callback(stream_.get(), nullptr, nullptr);
    pa_stream_set_state_callback(stream_.get(), nullptr, nullptr);
    pa_stream_set_moved_callback(stream_.get(), nullptr, nullptr);
    if (const auto ended = std::exchange(events_.ended, nullptr))
        ended();
}

} // namespace vitrel
