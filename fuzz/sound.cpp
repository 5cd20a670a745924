// Files of sound that somebody names, and what a hijacked process may write into the memory that it shares.
#include "platform/sound/HeardSound.h"
#include "platform/sound/PlayedSound.h"
#include "platform/sound/SoundRingMemory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using namespace vitrel;

void check(const SoundHeard& heard)
{
    const auto isLevel = [](double level) { return level >= 0 && level <= 1; };
    if (!isLevel(heard.peak) || !std::all_of(heard.spectrum.begin(), heard.spectrum.end(), isLevel))
        std::abort();
}

void readAsFile(const std::uint8_t* data, std::size_t size)
{
    const int file = memfd_create("sound", MFD_CLOEXEC);
    if (file < 0 || ::write(file, data, size) != ssize_t(size))
        return;
    if (auto sound = readSound("/proc/self/fd/" + std::to_string(file))) {
        ManualClock clock;
        PlayedSound played(clock, std::move(*sound), PlayedSound::Times::forever);
        const auto held = played.listen({});
        clock.time = Seconds(1);
        check(played.hear());
    }
    ::close(file);
}

void readAsMemory(const std::uint8_t* data, std::size_t size)
{
    ManualClock clock;
    const auto ring = SoundRing::make();
    auto& memory = SoundRingTampering::memoryOf(*ring);
    HeardSound heard(clock, ring, {});
    const auto held = heard.listen({});
    heard.playing(true);
    // Each time a counter, a rate, and samples.
    for (constexpr std::size_t kHead = 12; size > kHead; clock.time += Seconds(0.02)) {
        std::uint64_t written = 0;
        std::uint32_t rate = 0;
        std::memcpy(&written, data, sizeof written);
        std::memcpy(&rate, data + sizeof written, sizeof rate);
        const std::size_t count = std::min<std::size_t>((size - kHead) / sizeof(float), 64);
        for (std::size_t k = 0; k < count; ++k) {
            float sample;
            std::memcpy(&sample, data + kHead + k * sizeof sample, sizeof sample);
            memory.samples[(written + k) % SoundRing::kCapacity] = sample;
        }
        memory.written = written + count;
        memory.rate = rate;
        check(heard.hear());
        data += kHead + count * sizeof(float);
        size -= kHead + count * sizeof(float);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    readAsFile(data, size);
    readAsMemory(data, std::min<std::size_t>(size, 4096));
    return 0;
}
