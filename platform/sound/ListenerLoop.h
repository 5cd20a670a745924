#pragma once

#include "platform/sound/MonitorStream.h"
#include "platform/sound/SoundListener.h"

#include <atomic>
#include <mutex>
#include <optional>

namespace vitrel {

// All that happens in the listener's thread, but for `wanted`.
class SoundListener::Loop
{
public:
    Loop(std::shared_ptr<SoundRing> ring, std::function<void(bool)> playing, Options options);
    ~Loop();
    void wanted(bool wanted);

private:
    // A question to the server: while one is under way another one waits, so that no flood of events becomes one of
    // questions.
    struct Question {
        PulseOperation operation;
        bool isAskedAgain = false;
    };

    bool start(); // on the caller's thread
    void follow(); // whether it is wanted
    void connect();
    void disconnect();
    void contextChanged();
    void failed();
    void askServer();
    void serverAnswered(const pa_server_info* info);
    void sinkAnswered(const pa_sink_info* info, int end);
    void askInputs();
    void inputAnswered(const pa_sink_input_info* info, int end);
    void happened(pa_subscription_event_type_t event);
    void listenTo(const PulseSink& sink);
    void streamEnded();
    void corkOrNot();
    void take(std::span<const float> samples, unsigned rate);
    void tell(bool playing);
    void later(Seconds pause, void (Loop::*what)());
    void forgetTimer();

    const std::shared_ptr<SoundRing> ring_;
    const std::function<void(bool)> playing_;
    const Options options_;

    std::mutex starting_;
    std::atomic<bool> isWanted_{false};
    int wake_ = -1;
    pa_threaded_mainloop* loop_ = nullptr;
    pa_mainloop_api* api_ = nullptr;
    pa_io_event* woken_ = nullptr;

    PulseContext context_;
    std::unique_ptr<MonitorStream> stream_;
    std::string sinkName_; // of the last answer
    Question server_, inputs_;
    PulseOperation sink_;
    pa_time_event* timer_ = nullptr;
    void (Loop::*atTime_)() = nullptr;
    Seconds pause_, streamPause_{0};
    bool isAnyCounted_ = false, isAnyPlaying_ = false, isToldPlaying_ = false;
    double silence_ = 0; // seconds of samples
};

} // namespace vitrel
