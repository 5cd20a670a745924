#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <pulse/pulseaudio.h>

namespace vitrel {

struct PulseRelease {
    // What was asked for comes too late then: the callback isn't called any more.
    void operator()(pa_operation* operation) const
    {
        pa_operation_cancel(operation);
        pa_operation_unref(operation);
    }
    void operator()(pa_context* context) const
    {
        // Disconnecting calls it.
        pa_context_set_state_callback(context, nullptr, nullptr);
        pa_context_set_subscribe_callback(context, nullptr, nullptr);
        pa_context_disconnect(context);
        pa_context_unref(context);
    }
    void operator()(pa_stream* stream) const
    {
        pa_stream_set_read_callback(stream, nullptr, nullptr);
        pa_stream_set_state_callback(stream, nullptr, nullptr);
        pa_stream_set_moved_callback(stream, nullptr, nullptr);
        pa_stream_disconnect(stream);
        pa_stream_unref(stream);
    }
};
using PulseOperation = std::unique_ptr<pa_operation, PulseRelease>;
using PulseContext = std::unique_ptr<pa_context, PulseRelease>;
using PulseStream = std::unique_ptr<pa_stream, PulseRelease>;

// An output of the desktop, and the source that gives what it plays.
struct PulseSink {
    std::uint32_t index = PA_INVALID_INDEX;
    std::string name, description, monitor;

    // Nothing for one without a monitor.
    static std::optional<PulseSink> of(const pa_sink_info& info)
    {
        if (!info.name || !info.monitor_source_name || !*info.monitor_source_name)
            return std::nullopt;
        return PulseSink{info.index, info.name, info.description ? info.description : "", info.monitor_source_name};
    }
};

} // namespace vitrel
