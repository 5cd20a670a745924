#include "sound/Pieces.h"

#include <cmath>
#include <functional>
#include <numbers>
#include <random>

namespace vitrel {
namespace {

constexpr double kBegin = 0.5; // seconds of silence first

// Calls `play` with each beat's time and number and notes it.
void everyBeat(Piece& piece, double apart, const std::function<void(double at, int number)>& play)
{
    for (int number = 0; kBegin + number * apart < kPieceLength - 0.5; ++number) {
        piece.beats.push_back(kBegin + number * apart);
        play(piece.beats.back(), number);
    }
}

double frequencyOf(int note)
{
    return 440 * std::exp2((note - 69) / 12.0);
}

void pluck(Instruments& band, double at, int note, double level)
{
    band.tone(at, {frequencyOf(note), level, 0.003, 0, 0.7, {1, 0.6, 0.45, 0.3, 0.2, 0.15, 0.1, 0.07}, 0.0004});
}

void bassNote(Instruments& band, double at, int note, double held)
{
    band.tone(at, {frequencyOf(note), 0.25, 0.01, held, 0.04, {1, 0.6, 0.4, 0.2, 0.1}});
}

void pad(Instruments& band, double level)
{
    for (double at = 0; at < kPieceLength - 3.5; at += 3)
        for (const int note : {50, 57, 62, 65, 69})
            band.tone(at, {frequencyOf(note + int(at) % 2), level, 0.8, 2, 0.4, {1, 0.5, 0.3, 0.2, 0.1}});
}

// Somebody who sings, gliding from note to note, with a vibrato, and begins nothing anew.
void sing(Instruments& band, double level)
{
    double phase = 0;
    for (std::size_t k = 0; k < band.samples().size(); ++k) {
        const double time = double(k) / kPieceRate, note = 62 + 3 * std::sin(time * 0.9) + 0.4 * std::sin(time * 34);
        phase += 2 * std::numbers::pi * frequencyOf(0) * std::exp2(note / 12) / kPieceRate;
        double sample = 0;
        for (int partial = 1; partial <= 12; ++partial)
            sample += std::sin(phase * partial) / partial;
        band.samples()[k] += float(level * sample * (1 + 0.3 * std::sin(time * 34 + 1)) * std::min(time / 0.3, 1.0));
    }
}

void drum(Instruments& band, double at, double pitch, double level)
{
    band.tone(at, {pitch, level, 0.002, 0, 0.09});
    band.tone(at, {pitch * 1.59, level * 0.5, 0.002, 0, 0.06});
    band.noise(at, level, 0.012, 500, 4000);
}

Piece made(const std::string& name, const std::function<void(Instruments&, Piece&)>& play, double volume = 1)
{
    Piece piece{name, {}, {}};
    Instruments band(kPieceLength, kPieceRate);
    play(band, piece);
    piece.samples = std::move(band.samples());
    for (float& sample : piece.samples)
        sample *= float(volume);
    return piece;
}

Piece house(const std::string& name, double tempo, double volume = 1)
{
    return made(
        name,
        [=](Instruments& band, Piece& piece) {
            everyBeat(piece, 60 / tempo, [&](double at, int number) {
                band.kick(at, 0.5);
                band.hat(at + 30 / tempo, 0.15, 0.03);
                bassNote(band, at, 33 + number / 4 % 3 * 2, 40 / tempo);
            });
        },
        volume);
}

Piece rock(const std::string& name, double tempo, double voice)
{
    return made(name, [=](Instruments& band, Piece& piece) {
        sing(band, voice);
        pad(band, 0.04);
        everyBeat(piece, 60 / tempo, [&](double at, int number) {
            if (number % 2 == 0)
                band.kick(at, 0.5);
            else
                band.noise(at, 0.5, 0.07, 200, 6000);
            band.hat(at, 0.1, 0.02);
            band.hat(at + 30 / tempo, 0.1, 0.02);
            bassNote(band, at, 31 + number / 8 % 2 * 5, 45 / tempo);
        });
    });
}

Piece hands(const std::string& name, double apart)
{
    return made(name, [=](Instruments& band, Piece& piece) {
        constexpr double kPitches[] = {95, 190, 260, 190, 110, 300};
        everyBeat(
            piece, apart, [&](double at, int number) { drum(band, at, kPitches[number % 6], number % 3 ? 0.2 : 0.4); });
    });
}

Piece piano(const std::string& name, double apart, int voices)
{
    return made(name, [=](Instruments& band, Piece& piece) {
        constexpr int kNotes[] = {60, 64, 67, 72, 65, 69, 57, 62, 71};
        everyBeat(piece, apart, [&](double at, int number) {
            for (int voice = 0; voice < voices; ++voice)
                pluck(band, at, kNotes[(number + voice * 2) % 9] - (voice == 2 ? 24 : 0), 0.15);
        });
    });
}

} // namespace

std::vector<float> noise(double seconds, double level, bool isPink, unsigned seed)
{
    std::mt19937 random(seed);
    const auto next = [&] { return double(random()) / 2147483648.0 - 1; };
    std::vector<float> samples(std::size_t(seconds * kPieceRate));
    double rows[16]{}, sum = 0, square = 0;
    for (std::size_t k = 0; k < samples.size(); ++k) {
        double value = next();
        if (isPink) { // Voss and McCartney: each row holds its number twice as long as the one before
            for (int row = 0; row < 16; ++row)
                if (k % (1u << row) == 0)
                    rows[row] = next();
            for (sum = value; const double row : rows)
                sum += row;
            value = sum;
        }
        samples[k] = float(value);
        square += value * value;
    }
    for (float& sample : samples)
        sample *= float(level / std::sqrt(square / double(samples.size())));
    return samples;
}

std::vector<Piece> pieces()
{
    std::vector<Piece> all{house("house", 124), house("slow", 72), house("fast", 174), house("quiet", 124, 0.01),
        rock("rock", 110, 0), rock("song", 80, 0.12), hands("hand drums", 0.31), hands("quick hand drums", 0.19),
        piano("piano chords", 0.5, 3), piano("piano notes", 0.36, 1), house("noisy", 118),
        piano("guitar in rain", 0.42, 2)};
    for (const std::size_t noisy : {10, 11}) {
        const auto rain = noise(kPieceLength, noisy == 10 ? 0.1 : 0.01, true);
        for (std::size_t k = 0; k < all[noisy].samples.size(); ++k)
            all[noisy].samples[k] += rain[k];
    }
    return all;
}

} // namespace vitrel
