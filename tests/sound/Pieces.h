#pragma once

#include "platform/sound/Instruments.h"

#include <string>
#include <vector>

namespace vitrel {

// Music whose beats are known by construction.
struct Piece {
    std::string name;
    std::vector<float> samples;
    std::vector<double> beats; // seconds, in their order
};

constexpr unsigned kPieceRate = 44'100;
constexpr double kPieceLength = 14; // seconds

std::vector<Piece> pieces();

// White or pink noise of a root mean square.
std::vector<float> noise(double seconds, double level, bool isPink, unsigned seed = 1);

} // namespace vitrel
