#include "platform/sound/HeardSound.h"
#include "platform/sound/PlayedSound.h"
#include "platform/sound/SoundLimits.h"
#include "platform/sound/SoundRingMemory.h"
#include "sound/Pieces.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <sndfile.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <numbers>

namespace vitrel {
namespace {

using testing::Each;
using testing::Lt;

std::vector<float> sine(double frequency, double level, double seconds, unsigned rate = kPieceRate)
{
    std::vector<float> samples(std::size_t(seconds * rate));
    for (std::size_t k = 0; k < samples.size(); ++k)
        samples[k] = float(level * std::sin(2 * std::numbers::pi * frequency * double(k) / rate));
    return samples;
}

std::vector<float> operator+(std::vector<float> one, const std::vector<float>& other)
{
    for (std::size_t k = 0; k < one.size() && k < other.size(); ++k)
        one[k] += other[k];
    return one;
}

SoundHeard heardOf(const std::vector<float>& samples, unsigned rate = kPieceRate)
{
    SoundAnalysis analysis(rate);
    analysis.take(samples);
    return analysis.heard();
}

// When beats are reported, in seconds.
std::vector<double> beatsIn(const std::vector<float>& samples)
{
    SoundAnalysis analysis(kPieceRate);
    std::vector<double> found;
    for (std::size_t k = 0; k + 64 <= samples.size(); k += 64) {
        analysis.take({&samples[k], 64});
        if (analysis.heard().beats > found.size())
            found.push_back(double(k + 64) / kPieceRate);
    }
    return found;
}

TEST(SoundAnalysis, SpreadsFrequenciesOverBands)
{
    // By NumPy, from the definitions of window, bands, tilt and range; the gain has settled on the loudest.
    const auto mixed = heardOf(sine(1000, 0.5, 3) + sine(4300, 0.05, 3) + sine(100, 0.2, 3));
    const std::array<double, 16> expected{0, 0.209, 0.420, 0.091, 0, 0, 0, 0, 0.918, 0, 0, 0, 0.331, 0, 0, 0};
    for (std::size_t band = 0; band < expected.size(); ++band)
        EXPECT_NEAR(mixed.spectrum[band], expected[band], 0.03) << band;
    EXPECT_DOUBLE_EQ(mixed.peak > 0.9, true);
    // At any rate and any volume, each band's middle fills that band and leaves those that are two away.
    for (const unsigned rate : {22'050u, 44'100u, 48'000u, 96'000u, 384'000u})
        for (std::size_t band = 4; band < (rate < 44'100 ? 14 : 16); ++band) {
            const double middle = 40 * std::pow(400, (double(band) + 0.5) / 16);
            const auto heard = heardOf(sine(middle, band % 2 ? 0.5 : 0.008, 1, rate), rate);
            EXPECT_NEAR(heard.spectrum[band], 0.918, 0.01) << rate << " " << band;
            for (std::size_t other = 0; other < 16; ++other)
                EXPECT_TRUE(other + 1 >= band && other <= band + 1 ? true : heard.spectrum[other] < 0.05) << other;
        }
    // Above half the rate there is nothing; as little at rates that nobody uses.
    EXPECT_EQ(heardOf(sine(3000, 0.5, 1, 8000), 8000).spectrum[15], 0);
    EXPECT_GT(heardOf(sine(100, 0.5, 1, kLeastSoundRate), kLeastSoundRate).spectrum[2], 0.5);
}

TEST(SoundAnalysis, FollowsTheVolumeButHearsSilence)
{
    EXPECT_EQ(heardOf(std::vector<float>(44'100)), SoundHeard());
    EXPECT_EQ(heardOf(noise(1, 2e-6, false)), SoundHeard());
    // Half of full scale, then a quarter of it: the gain comes after within seconds, and isn't there at once.
    SoundAnalysis analysis(kPieceRate);
    analysis.take(sine(1000, 0.5, 3));
    analysis.take(sine(1000, 0.125, 0.2));
    EXPECT_NEAR(analysis.heard().peak, 0.25, 0.02);
    EXPECT_NEAR(analysis.heard().spectrum[8], std::pow((34 - 12.04) / 36, 1.5), 0.03);
    analysis.take(sine(1000, 0.125, 20));
    EXPECT_GT(analysis.heard().peak, 0.9);
    EXPECT_NEAR(analysis.heard().spectrum[8], std::pow((34 - 12.04 * std::exp(-20.2 / 8)) / 36, 1.5), 0.03);
    // Levels have no decay: after the window, nothing is left.
    analysis.take(std::vector<float>(2048 + 512));
    EXPECT_EQ(analysis.heard().peak, 0);
    EXPECT_THAT(analysis.heard().spectrum, Each(0));
    // Clipped, and as loud as it gets.
    auto clipped = sine(100, 1e9, 1);
    for (float& sample : clipped)
        sample = std::clamp(sample, -kLoudestSample, kLoudestSample);
    EXPECT_THAT(heardOf(clipped).spectrum, Each(testing::AllOf(testing::Ge(0), testing::Le(1))));
    EXPECT_EQ(heardOf(clipped).peak, 1);
}

TEST(SoundAnalysis, FindsTheBeatsOfTwelvePiecesAndInventsNone)
{
    for (const auto& piece : pieces()) {
        const auto found = beatsIn(piece.samples);
        std::size_t hits = 0, at = 0;
        for (const double beat : piece.beats) {
            while (at < found.size() && found[at] < beat - 0.07)
                ++at;
            if (at < found.size() && found[at] <= beat + 0.07) {
                ++hits;
                ++at;
            }
        }
        EXPECT_GE(double(hits), 0.85 * double(piece.beats.size())) << piece.name;
        EXPECT_LE(double(found.size() - hits), 0.1 * double(found.size())) << piece.name;
        std::array<double, 16> least, most{};
        least.fill(1);
        SoundAnalysis analysis(kPieceRate);
        for (std::size_t k = 0; k + 735 <= piece.samples.size(); k += 735) {
            analysis.take({&piece.samples[k], 735});
            for (std::size_t band = 0; band < 16 && k > 44'100; ++band) {
                least[band] = std::min(least[band], analysis.heard().spectrum[band]);
                most[band] = std::max(most[band], analysis.heard().spectrum[band]);
            }
        }
        for (std::size_t band = 0; band < 16 && (piece.name == "rock" || piece.name == "song"); ++band)
            EXPECT_GT(most[band] - least[band], 0.2) << piece.name << " " << band;
    }
    for (const double level : {0.3, 0.05, 0.0005})
        for (const bool isPink : {false, true})
            EXPECT_THAT(beatsIn(noise(30, level, isPink)), testing::IsEmpty()) << level << isPink;
    EXPECT_THAT(beatsIn(sine(440, 0.3, 5)), testing::IsEmpty());
}

TEST(SoundRing, GivesWhatWasWrittenInAnotherProcessAndNothingThatMakesNoSense)
{
    const auto ring = SoundRing::make();
    SoundRing::Reader reader(ring);
    const pid_t writer = fork();
    if (writer == 0) {
        ring->write(std::vector<float>{0.25F, NAN, -INFINITY, 17, -16}, 48'000);
        _exit(0);
    }
    waitpid(writer, nullptr, 0);
    EXPECT_THAT(reader.read(), testing::ElementsAre(0.25F, 0, 0, 0, -16));
    EXPECT_EQ(reader.rate(), 48'000u);
    EXPECT_TRUE(reader.read().empty());
    // The newest, if it is more than fits; and whoever writes goes by what it knows itself.
    const auto ring2 = SoundRing::make();
    SoundRing::Reader late(ring2), tampered(ring2);
    auto& memory = SoundRingTampering::memoryOf(*ring2);
    for (const float value : {1.0F, 2.0F})
        ring2->write(std::vector<float>(SoundRing::kReadable / 2 + 1, value), 44'100);
    const auto newest = late.read();
    ASSERT_EQ(newest.size(), SoundRing::kReadable);
    EXPECT_EQ(newest.front(), 1);
    EXPECT_EQ(newest.back(), 2);
    memory.written = 7;
    EXPECT_TRUE(late.read().empty());
    memory.written = ~0ULL;
    EXPECT_LE(late.read().size(), SoundRing::kReadable);
    ring2->write(std::vector<float>{3}, 44'100);
    EXPECT_EQ(memory.written, 2 * (SoundRing::kReadable / 2 + 1) + 1);
    EXPECT_TRUE(late.read().empty());
    for (const unsigned rate : {0u, 999u, 400'000u, ~0u}) {
        memory.rate = rate;
        memory.written += 10;
        EXPECT_TRUE(late.read().empty());
        EXPECT_EQ(late.rate(), 0u);
    }
}

struct Heard : testing::Test {
    ManualClock clock;
    std::shared_ptr<SoundRing> ring = SoundRing::make();
    std::vector<bool> wanted;
    int sounds = 0;
    HeardSound input{clock, ring, [this](bool is) { wanted.push_back(is); }};
    const std::vector<float> piece = demonstrationSound().samples;
    std::size_t written = 0;

    void play(double seconds)
    {
        const auto count = std::size_t(std::lround(seconds * kPieceRate));
        ring->write(std::span(piece).subspan(written, count), kPieceRate);
        written += count;
        clock.time += Seconds(seconds);
    }
};

TEST_F(Heard, SaysWhenItIsWantedAndRests)
{
    play(1);
    EXPECT_TRUE(input.rests());
    EXPECT_EQ(input.hear(), SoundHeard());
    std::shared_ptr<void> second, third;
    auto first = input.listen([&] {
        ++sounds;
        third.reset();
    });
    second = input.listen({});
    third = input.listen([this] { ++sounds; }); // is gone by the time when it would be told
    EXPECT_EQ(input.hear(), SoundHeard()); // what was written before nobody wanted
    EXPECT_EQ(sounds, 0);
    input.playing(true);
    input.playing(true);
    EXPECT_EQ(sounds, 1);
    EXPECT_FALSE(input.rests());
    for (int k = 0; k < 30; ++k)
        play(0.1);
    EXPECT_GT(input.hear().peak, 0);
    const auto beats = input.hear().beats;
    EXPECT_GE(beats, 2u); // of the last two seconds
    clock.time += Seconds(0.4);
    EXPECT_GT(input.hear().peak, 0);
    clock.time += Seconds(0.2); // nobody writes any more
    EXPECT_EQ(input.hear().peak, 0);
    input.playing(false);
    EXPECT_TRUE(input.rests());
    EXPECT_EQ(input.hear(), (SoundHeard{.beats = beats}));
    first.reset();
    EXPECT_EQ(wanted, (std::vector{true}));
    second.reset();
    EXPECT_EQ(wanted, (std::vector{true, false}));
    input.playing(true);
    EXPECT_EQ(sounds, 1);
    EXPECT_EQ(input.hear(), SoundHeard());
}

TEST_F(Heard, DependsOnNoFrameRateAndSurvivesAnotherRate)
{
    HeardSound slow(clock, ring, {});
    auto one = input.listen({}), two = slow.listen({});
    input.playing(true);
    slow.playing(true);
    for (int frame = 1; frame <= 300; ++frame) {
        play(1 / 60.0);
        const auto heard = input.hear();
        if (frame % 2 == 0) {
            const auto other = slow.hear();
            EXPECT_EQ(heard.spectrum, other.spectrum);
            EXPECT_EQ(heard.peak, other.peak);
            EXPECT_EQ(heard.beats, other.beats);
            EXPECT_TRUE(std::isinf(heard.sinceBeat) || std::abs(heard.sinceBeat - other.sinceBeat) < 1e-9);
        }
    }
    EXPECT_GE(input.hear().beats, 8u);
    const auto before = input.hear().beats;
    ring->write(sine(1000, 0.5, 0.5, 96'000), 96'000);
    EXPECT_NEAR(input.hear().spectrum[8], 0.918, 0.01);
    EXPECT_EQ(input.hear().beats, before);
}

TEST(PlayedSound, GivesTheSameAtTheSameMoments)
{
    ManualClock clock;
    const Sound demonstration = demonstrationSound();
    const double length = double(demonstration.samples.size()) / demonstration.rate;
    EXPECT_EQ(demonstrationSound().samples, demonstration.samples);
    PlayedSound often(clock, demonstration, PlayedSound::Times::forever),
        once(clock, demonstration, PlayedSound::Times::once), none(clock, {{}, 0}, PlayedSound::Times::forever);
    EXPECT_EQ(often.hear(), SoundHeard());
    auto held = often.listen({}), held2 = once.listen({}), held3 = none.listen({});
    for (; clock.time.count() < length - 0.1; clock.time += Seconds(0.016))
        often.hear();
    EXPECT_EQ(often.hear(), once.hear());
    EXPECT_GE(often.hear().beats, 24u);
    clock.time = Seconds(length + 0.1);
    EXPECT_TRUE(once.rests());
    EXPECT_EQ(once.hear(), SoundHeard());
    EXPECT_GT(often.hear().peak, 0.1);
    clock.time += Seconds(1e6);
    EXPECT_GT(often.hear().peak, 0.1);
    EXPECT_FALSE(often.rests());
    EXPECT_EQ(none.hear(), SoundHeard());
    // The seam is no louder a step than the rest, and all bands move.
    const auto& samples = demonstration.samples;
    EXPECT_LT(std::abs(samples.back() - samples.front()), 0.1);
    std::array<std::vector<double>, 16> bands;
    for (int frame = 0; frame < 500; ++frame, clock.time += Seconds(1 / 60.0))
        for (std::size_t band = 0; band < 16; ++band)
            bands[band].push_back(often.hear().spectrum[band]);
    for (auto& band : bands)
        EXPECT_GT(*std::max_element(band.begin(), band.end()) - *std::min_element(band.begin(), band.end()), 0.3);
}

TEST(SoundFile, ReadsWithinLimitsAndSaysWhatIsWrong)
{
    TemporaryFolder folder;
    const auto make = [&](int rate, int channels, const std::vector<float>& samples) {
        const std::string path = folder / "sound.wav";
        SF_INFO info{0, rate, channels, SF_FORMAT_WAV | SF_FORMAT_FLOAT, 0, 0};
        SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
        sf_write_float(file, samples.data(), sf_count_t(samples.size()));
        sf_close(file);
        return path;
    };
    const auto stereo = readSound(make(48'000, 2, {0.5, 0.25, NAN, 1, 1e30F, 0, -1, -1}));
    ASSERT_TRUE(stereo) << stereo.error();
    EXPECT_EQ(stereo->samples, (std::vector<float>{0.375F, 0, 0, -1}));
    EXPECT_EQ(stereo->rate, 48'000u);
    EXPECT_TRUE(readSound(make(1000, 32, std::vector<float>(64))));
    const std::string good = TemporaryFolder::read(make(48'000, 2, std::vector<float>(2000)));
    EXPECT_EQ(readSound(make(999, 1, {1})).error(), "a sample rate beyond 1 to 384 kHz");
    EXPECT_EQ(readSound(make(384'001, 1, {1})).error(), "a sample rate beyond 1 to 384 kHz");
    EXPECT_EQ(readSound(make(8000, 33, std::vector<float>(33))).error(), "more than 32 channels");
    EXPECT_EQ(readSound(make(8000, 1, {})).error(), "no sound in it");
    EXPECT_EQ(readSound(make(1000, 1, std::vector<float>(1'800'001))).error(), "longer than half an hour");
    EXPECT_EQ(readSound(folder.write("text", "nothing")).error(), "not a sound file that can be read");
    EXPECT_EQ(readSound(folder.path()).error(), "not a file");
    EXPECT_EQ(readSound("/nowhere").error(), "No such file or directory");
    mkfifo((folder / "pipe").c_str(), 0600);
    EXPECT_EQ(readSound(folder / "pipe").error(), "not a file");
    folder.write("large", good);
    std::filesystem::resize_file(folder / "large", (1UL << 30) + 1);
    EXPECT_EQ(readSound(folder / "large").error(), "larger than 1 GiB");
    // Cut off and damaged anywhere: an error or a sound, and no more of it than there is.
    for (std::size_t k = 0; k < 200; ++k) {
        std::string bad = good.substr(0, k % 2 ? good.size() : k * 8);
        if (k % 2)
            bad[k / 2] = char(255 - bad[k / 2]);
        if (const auto read = readSound(folder.write("bad", bad)))
            EXPECT_LE(read->samples.size(), bad.size()) << k;
    }
}

} // namespace
} // namespace vitrel
