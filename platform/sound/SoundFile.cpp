#include "platform/sound/PlayedSound.h"

#include <fcntl.h>
#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vitrel {
namespace {

constexpr off_t kMostBytes = off_t(1) << 30;
constexpr int kMostChannels = 32, kMostSeconds = 30 * 60;
constexpr std::size_t kMostSamples = 48'000UL * kMostSeconds; // 350 MB; the rates above would make gigabytes of it
constexpr sf_count_t kReserved = 1 << 24; // whatever a header promises
constexpr sf_count_t kFramesAtOnce = 4096;

struct OpenFile {
    int descriptor = -1;
    SNDFILE* file = nullptr;
    SF_INFO info{};
    ~OpenFile()
    {
        if (file)
            sf_close(file);
        if (descriptor >= 0)
            ::close(descriptor);
    }
};

// A text, or nothing if all is well.
std::string openSound(OpenFile& opened, const std::string& path)
{
    opened.descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); // of a pipe: no waiting for a writer
    struct stat status;
    if (opened.descriptor < 0 || ::fstat(opened.descriptor, &status) != 0)
        return std::strerror(errno);
    if (!S_ISREG(status.st_mode))
        return "not a file";
    if (status.st_size > kMostBytes)
        return "larger than 1 GiB";
    opened.file = sf_open_fd(opened.descriptor, SFM_READ, &opened.info, SF_FALSE);
    if (!opened.file)
        return "not a sound file that can be read";
    const SF_INFO& info = opened.info;
    if (info.channels < 1 || info.channels > kMostChannels)
        return "more than 32 channels";
    if (info.samplerate < int(kLeastSoundRate) || info.samplerate > int(kMostSoundRate))
        return "a sample rate beyond 1 to 384 kHz";
    return {};
}

// Until the end, whatever the header says of it.
std::string readSamples(OpenFile& opened, Sound& sound)
{
    const auto channels = std::size_t(opened.info.channels);
    const std::size_t most = std::min(std::size_t(opened.info.samplerate) * kMostSeconds, kMostSamples);
    sound.samples.reserve(std::min(most, std::size_t(std::clamp<sf_count_t>(opened.info.frames, 0, kReserved))));
    std::vector<float> frames(std::size_t(kFramesAtOnce) * channels);
    while (const sf_count_t count = sf_readf_float(opened.file, frames.data(), kFramesAtOnce)) {
        if (count < 0)
            break;
        if (sound.samples.size() + std::size_t(count) > most)
            return opened.info.samplerate > 48'000 ? "longer than half an hour at 48 kHz" : "longer than half an hour";
        for (std::size_t frame = 0; frame < std::size_t(count); ++frame) {
            float sum = 0;
            for (std::size_t channel = 0; channel < channels; ++channel)
                sum += frames[frame * channels + channel];
            sum /= float(channels);
            sound.samples.push_back(std::abs(sum) <= kLoudestSample ? sum : 0);
        }
    }
    return sound.samples.empty() ? "no sound in it" : "";
}

} // namespace

Result<Sound, std::string> readSound(const std::string& path)
{
    OpenFile opened;
    Sound sound;
    std::string problem = openSound(opened, path);
    if (problem.empty()) {
        sound.rate = unsigned(opened.info.samplerate);
        problem = readSamples(opened, sound);
    }
    if (!problem.empty())
        return problem;
    return sound;
}

} // namespace vitrel
