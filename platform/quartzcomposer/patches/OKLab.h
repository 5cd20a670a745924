#pragma once

#include "platform/foundation/Value.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace vitrel::qc {

// Björn Ottosson's OKLab ("A perceptual color space for image processing", 2020), in which equal steps look equal and
// mixtures don't turn grey. L from 0, black, to 1, white.
struct OKLab {
    double L = 0, a = 0, b = 0;

    double chroma() const { return std::hypot(a, b); }
    // Degrees from 0 to 360.
    double hue() const
    {
        const double h = std::atan2(b, a) * 180 / std::numbers::pi;
        return h < 0 ? h + 360 : h;
    }
    static OKLab of(double L, double chroma, double hue)
    {
        const double h = hue * std::numbers::pi / 180;
        return {L, chroma * std::cos(h), chroma * std::sin(h)};
    }
};

inline double linearOf(double c)
{
    return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
}
inline double encodedOf(double c)
{
    return c <= 0.0031308 ? 12.92 * c : 1.055 * std::pow(c, 1 / 2.4) - 0.055;
}

inline OKLab okLab(const NSColor& color)
{
    const auto part = [](double c) { return linearOf(std::isfinite(c) ? std::clamp(c, 0.0, 1.0) : 0); };
    const double r = part(color.red), g = part(color.green), b = part(color.blue);
    const double l = std::cbrt(0.4122214708 * r + 0.5363325363 * g + 0.0514459929 * b),
                 m = std::cbrt(0.2119034982 * r + 0.6806995451 * g + 0.1073969566 * b),
                 s = std::cbrt(0.0883024619 * r + 0.2817188376 * g + 0.6299787005 * b);
    return {0.2104542553 * l + 0.7936177850 * m - 0.0040720468 * s,
        1.9779984951 * l - 2.4285922050 * m + 0.4505937099 * s, 0.0259040371 * l + 0.7827717662 * m - 0.8086757660 * s};
}

// As sRGB; what lies outside of that loses chroma until it fits.
inline NSColor rgbOf(OKLab lab, double alpha = 1)
{
    lab.L = std::isfinite(lab.L) ? std::clamp(lab.L, 0.0, 1.0) : 0;
    if (!std::isfinite(lab.a) || !std::isfinite(lab.b))
        lab.a = lab.b = 0;
    if (lab.L == 0 || lab.L == 1)
        return {lab.L, lab.L, lab.L, alpha};
    constexpr double kNear = 1e-4;
    for (int k = 0;; ++k) {
        const double l = lab.L + 0.3963377774 * lab.a + 0.2158037573 * lab.b,
                     m = lab.L - 0.1055613458 * lab.a - 0.0638541728 * lab.b,
                     s = lab.L - 0.0894841775 * lab.a - 1.2914855480 * lab.b;
        const double l3 = l * l * l, m3 = m * m * m, s3 = s * s * s;
        const double r = 4.0767416621 * l3 - 3.3077115913 * m3 + 0.2309699292 * s3,
                     g = -1.2684380046 * l3 + 2.6097574011 * m3 - 0.3413193965 * s3,
                     b = -0.0041960863 * l3 - 0.7034186147 * m3 + 1.7076147010 * s3;
        if (k == 100 || (std::min({r, g, b}) >= -kNear && std::max({r, g, b}) <= 1 + kNear)) {
            const auto part = [](double c) { return std::clamp(encodedOf(std::clamp(c, 0.0, 1.0)), 0.0, 1.0); };
            return {part(r), part(g), part(b), alpha};
        }
        lab.a *= 0.93;
        lab.b *= 0.93;
    }
}

// The contrast of two colours, from 1 to 21 (WCAG 2.1, "contrast ratio").
inline double contrast(const NSColor& one, const NSColor& other)
{
    const auto luminance = [](const NSColor& c) {
        return 0.2126 * linearOf(c.red) + 0.7152 * linearOf(c.green) + 0.0722 * linearOf(c.blue);
    };
    const double a = luminance(one), b = luminance(other);
    return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

} // namespace vitrel::qc
