// What listening costs while music plays and while nothing does, on both sound servers, and how late it is: from the
// moment when a player's server says that a burst is heard to the frame in which hear() shows it.
#include "platform/sound/HeardSound.h"
#include "platform/sound/PlayedSound.h"
#include "platform/sound/SoundListener.h"
#include "sound/SoundServer.h"

#include <pulse/pulseaudio.h>
#include <pulse/simple.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <thread>

namespace {

using namespace vitrel;

double processorTime(int who)
{
    rusage usage;
    getrusage(who, &usage);
    const auto seconds = [](const timeval& time) { return double(time.tv_sec) + double(time.tv_usec) * 1e-6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

long wakeUps()
{
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_nvcsw;
}

struct Ears {
    SystemClock clock;
    std::shared_ptr<SoundRing> ring = SoundRing::make();
    std::atomic<bool> playing{false};
    SoundListener listener{ring, [this](bool is) { playing = is; }};
    HeardSound heard{clock, ring, [this](bool wanted) { listener.wanted(wanted); }};
    std::shared_ptr<void> held = heard.listen({});

    SoundHeard hear()
    {
        heard.playing(playing);
        return heard.hear();
    }
    // 60 frames a second.
    template <class Done> void frames(double seconds, Done done)
    {
        const auto start = std::chrono::steady_clock::now();
        for (int frame = 1; frame < seconds * 60; ++frame) {
            if (done(hear()))
                return;
            std::this_thread::sleep_until(start + std::chrono::microseconds(frame * 16'667));
        }
    }
};

void cost(Ears& ears, const char* what, double seconds)
{
    ears.frames(2, [](const auto&) { return false; });
    const double before = processorTime(RUSAGE_SELF), main = processorTime(RUSAGE_THREAD);
    const long wakes = wakeUps();
    ears.frames(seconds, [](const auto&) { return false; });
    const double all = processorTime(RUSAGE_SELF) - before, analysis = processorTime(RUSAGE_THREAD) - main;
    std::printf(
        "  %s: %.2f %% of a core: frames and analysis %.2f, listening %.2f; wake-ups a second beside the 60: %.1f\n",
        what, all / seconds * 100, analysis / seconds * 100, (all - analysis) / seconds * 100,
        double(wakeUps() - wakes) / seconds - 60);
}

// A player of its own with a short buffer: silence, and bursts in it.
void latency(Ears& ears)
{
    const pa_sample_spec spec{PA_SAMPLE_FLOAT32NE, 44'100, 1};
    pa_buffer_attr attributes{~0U, 44'100 / 25 * 4, ~0U, ~0U, ~0U}; // 40 ms
    pa_simple* player
        = pa_simple_new(nullptr, "bench", PA_STREAM_PLAYBACK, nullptr, "bursts", &spec, nullptr, &attributes, nullptr);
    if (!player)
        return;
    constexpr int kBlock = 441;
    std::atomic<double> written{0}, audible{0};
    std::atomic<bool> ends{false};
    std::thread thread([&] {
        std::vector<float> block(kBlock);
        for (long k = 0; !ends; ++k) {
            const bool isBurst = k % 70 == 50;
            for (int i = 0; i < kBlock; ++i)
                block[std::size_t(i)] = k % 70 >= 50 && k % 70 < 60 ? (i / 22 % 2 ? 0.5F : -0.5F) : 0.0001F;
            if (isBurst) {
                int error = 0;
                const double now = ears.clock.now().count();
                written = now;
                audible = now + double(pa_simple_get_latency(player, &error)) * 1e-6;
            }
            pa_simple_write(player, block.data(), block.size() * sizeof(float), nullptr);
        }
    });
    std::vector<double> late, whole;
    double last = 0;
    bool wasLoud = true;
    ears.frames(24, [&](const SoundHeard& heard) {
        const bool isLoud = heard.peak > 0.3;
        if (isLoud && !wasLoud && written != last) {
            last = written;
            late.push_back((ears.clock.now().count() - audible) * 1e3);
            whole.push_back((ears.clock.now().count() - written) * 1e3);
        }
        wasLoud = isLoud;
        return false;
    });
    ends = true;
    thread.join();
    pa_simple_free(player);
    std::sort(late.begin(), late.end());
    std::sort(whole.begin(), whole.end());
    if (!late.empty())
        std::printf("  %zu bursts, from heard to hear(): median %.1f ms (%.1f to %.1f); from the player's write: %.1f "
                    "(%.1f to %.1f)\n",
            late.size(), late[late.size() / 2], late.front(), late.back(), whole[whole.size() / 2], whole.front(),
            whole.back());
}

} // namespace

int main()
{
    std::setvbuf(stdout, nullptr, _IOLBF, 0); // or forked servers would say it again
    const Sound music = demonstrationSound();
    const double before = processorTime(RUSAGE_SELF);
    SoundAnalysis analysis(music.rate);
    for (int times = 0; times < 10; ++times)
        analysis.take(music.samples);
    std::printf("analysis alone: %.2f ms a second of sound\n",
        (processorTime(RUSAGE_SELF) - before) * 1e3 / (10.0 * double(music.samples.size()) / music.rate));
    for (const auto kind : {SoundServer::Kind::PulseAudio, SoundServer::Kind::PipeWire}) {
        if (!SoundServer::isInstalled(kind))
            continue;
        SoundServer server(kind);
        std::printf("%s\n", kind == SoundServer::Kind::PulseAudio ? "PulseAudio" : "PipeWire");
        Ears ears;
        cost(ears, "nothing plays", 10);
        {
            TonePlayer player(440, "--latency-msec=200");
            cost(ears, "a player with a buffer of 200 ms", 10);
        }
        {
            TonePlayer player(440, "--latency-msec=20");
            cost(ears, "a player with a buffer of 20 ms", 10);
        }
        latency(ears);
    }
}
