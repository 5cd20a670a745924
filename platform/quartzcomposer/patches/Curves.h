#pragma once

#include "platform/quartzcomposer/graph/PatchDescription.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace vitrel::qc {

inline Measure curves()
{
    return menu({"Linear", "Quadratic In", "Quadratic Out", "Quadratic In-Out", "Cubic In", "Cubic Out", "Cubic In-Out",
        "Exponential In", "Exponential Out", "Exponential In-Out", "Sinusoidal In", "Sinusoidal Out",
        "Sinusoidal In-Out"});
}

// The thirteen interpolation curves, by their number in files; `t` from 0 to 1.
inline double curve(std::uint32_t number, double t)
{
    t = std::clamp(t, 0.0, 1.0);
    const auto inOut = [t](auto in) { return t < 0.5 ? in(2 * t) / 2 : 1 - in(2 - 2 * t) / 2; };
    const auto square = [](double x) { return x * x; };
    const auto cube = [](double x) { return x * x * x; };
    const auto exponential = [](double x) { return x <= 0 ? 0.0 : x >= 1 ? 1.0 : std::exp2(10 * (x - 1)); };
    constexpr double pi = 3.14159265358979323846;
    switch (number) {
    case 1:
        return square(t);
    case 2:
        return 1 - square(1 - t);
    case 3:
        return inOut(square);
    case 4:
        return cube(t);
    case 5:
        return 1 - cube(1 - t);
    case 6:
        return inOut(cube);
    case 7:
        return exponential(t);
    case 8:
        return 1 - exponential(1 - t);
    case 9:
        return inOut(exponential);
    case 10:
        return 1 - std::cos(pi * t / 2);
    case 11:
        return std::sin(pi * t / 2);
    case 12:
        return (1 - std::cos(pi * t)) / 2;
    default:
        return t;
    }
}

// A number in [0, 1) that follows from the two alone (SplitMix64).
inline double hashed(std::uint64_t seed, std::uint64_t step)
{
    std::uint64_t z = seed * 0x9E3779B97F4A7C15u + step * 0xBF58476D1CE4E5B9u + 0x94D049BB133111EBu;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    z ^= z >> 31;
    return static_cast<double>(z >> 11) * 0x1p-53;
}

// A whole number for `hashed`; the same for the same, 0 for what is none.
inline std::uint64_t wholeOf(double number)
{
    return std::isfinite(number)
        ? static_cast<std::uint64_t>(static_cast<std::int64_t>(std::clamp(number, -9e15, 9e15)))
        : 0;
}

// C's fmod with a result that has the sign of the divisor: a position within a period.
inline double wrapped(double value, double period)
{
    if (period == 0 || !std::isfinite(value) || !std::isfinite(period))
        return 0;
    const double rest = std::fmod(value, period);
    return rest != 0 && (rest < 0) != (period < 0) ? rest + period : rest;
}

} // namespace vitrel::qc
