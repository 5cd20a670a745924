#include "platform/quartzcomposer/patches/CoverPalette.h"

#include "platform/quartzcomposer/patches/Pixels.h"

#include <map>
#include <tuple>
#include <vector>

namespace vitrel::qc {

namespace {

constexpr int kSide = 48; // pixels that are looked at

struct Cluster {
    OKLab lab;
    double weight = 0; // of the whole: 0 to 1
};

double squaredDistance(const OKLab& p, const OKLab& q, double lightness)
{
    const double l = p.L - q.L, a = p.a - q.a, b = p.b - q.b;
    return lightness * l * l + a * a + b * b;
}

double turnBetween(double hue, double other)
{
    const double d = std::fmod(std::abs(hue - other), 360);
    return std::min(d, 360 - d);
}

// Sums become means, weights shares.
void add(Cluster& to, const OKLab& lab, double weight)
{
    to.lab.L += weight * lab.L;
    to.lab.a += weight * lab.a;
    to.lab.b += weight * lab.b;
    to.weight += weight;
}
void divide(Cluster& cluster)
{
    cluster.lab.L /= cluster.weight;
    cluster.lab.a /= cluster.weight;
    cluster.lab.b /= cluster.weight;
}

// Pixels of nearly one colour together, the heaviest first.
std::vector<Cluster> cellsOf(const Bitmap& cover)
{
    const Bitmap small = resampled(cover, kSide, kSide);
    std::map<std::tuple<int, int, int>, Cluster> cells;
    double total = 0;
    for (int y = 0; y < small.height; ++y) {
        for (int x = 0; x < small.width; ++x) {
            const NSColor color = straight(small.pixels[static_cast<std::size_t>(y * small.width + x)]);
            if (color.alpha < 0.5)
                continue;
            const OKLab lab = okLab(color);
            // What a cover is about stands in its middle.
            const double d = std::hypot((x + 0.5) / kSide - 0.5, (y + 0.5) / kSide - 0.5);
            const double weight = 1 - 0.5 * std::min(1.0, 1.6 * d);
            const auto cell = [](double value, double parts) { return static_cast<int>(std::floor(value * parts)); };
            add(cells[{cell(lab.L, 8), cell(lab.a, 16), cell(lab.b, 16)}], lab, weight);
            total += weight;
        }
    }
    std::vector<Cluster> out;
    for (auto& [place, cell] : cells) {
        divide(cell);
        cell.weight /= total;
        out.push_back(cell);
    }
    std::stable_sort(out.begin(), out.end(), [](const Cluster& a, const Cluster& b) { return a.weight > b.weight; });
    return out;
}

std::vector<Cluster> clustersOf(const std::vector<Cluster>& cells)
{
    // Seeds that are too near each other melt a pale cover into grey.
    constexpr double kApart = 0.0022;
    constexpr std::size_t kMost = 14;
    constexpr int kRounds = 6;
    std::vector<Cluster> clusters;
    for (const Cluster& cell : cells) {
        const bool isNew = std::all_of(clusters.begin(), clusters.end(),
            [&](const Cluster& seed) { return squaredDistance(seed.lab, cell.lab, 0.5) > kApart; });
        if (isNew && clusters.size() < kMost)
            clusters.push_back(cell);
    }
    for (int round = 0; round < kRounds && !clusters.empty(); ++round) {
        std::vector<Cluster> next(clusters.size());
        for (const Cluster& cell : cells) {
            std::size_t nearest = 0;
            for (std::size_t k = 1; k < clusters.size(); ++k) {
                if (squaredDistance(clusters[k].lab, cell.lab, 0.5)
                    < squaredDistance(clusters[nearest].lab, cell.lab, 0.5))
                    nearest = k;
            }
            add(next[nearest], cell.lab, cell.weight);
        }
        clusters.clear();
        for (Cluster& cluster : next) {
            if (cluster.weight > 0) {
                divide(cluster);
                clusters.push_back(cluster);
            }
        }
    }
    return clusters;
}

// How much a cluster strikes the eye: much of it, strong, and neither dark nor pale.
double scoreOf(const Cluster& cluster)
{
    const double chroma = cluster.lab.chroma();
    if (chroma < 0.025 || cluster.weight < 0.004)
        return 0;
    const double off = cluster.lab.L - 0.70, spread = off < 0 ? 0.20 : 0.30;
    return std::pow(cluster.weight, 0.4) * std::min(1.25, chroma / 0.13) * std::exp(-off * off / (2 * spread * spread));
}

// A neighbour of a key that is alone on its cover.
OKLab neighbourOf(const OKLab& key)
{
    const double hue = key.hue(), turn = hue < 60 || hue >= 300 ? -34 : hue < 110 ? -38 : 38;
    return OKLab::of(key.L - 0.14, key.chroma() * 0.85, hue + turn);
}

OKLab secondOf(const std::vector<Cluster>& clusters, const OKLab& key)
{
    constexpr double kAnotherHue = 25, kFullHue = 45, kLeast = 0.012; // degrees, degrees, a score
    const Cluster* found = nullptr;
    double best = kLeast;
    for (const Cluster& cluster : clusters) {
        const double turn = turnBetween(cluster.lab.hue(), key.hue());
        // Asked for ahead of the best: a shade of the key would win, and leave no room for another colour.
        if (turn < kAnotherHue)
            continue;
        if (const double score = scoreOf(cluster) * std::min(1.0, turn / kFullHue); score > best) {
            best = score;
            found = &cluster;
        }
    }
    const OKLab second = found ? found->lab : neighbourOf(key);
    return OKLab::of(std::clamp(second.L, 0.50, 0.76), std::clamp(second.chroma(), 0.05, 0.15), second.hue());
}

OKLab darkestOf(const std::vector<Cluster>& clusters)
{
    const auto most = std::max_element(clusters.begin(), clusters.end(),
        [](const Cluster& a, const Cluster& b) { return a.weight * (1.2 - a.lab.L) < b.weight * (1.2 - b.lab.L); });
    return most == clusters.end() ? OKLab() : most->lab;
}

NSColor readable(OKLab color, const NSColor& ground)
{
    constexpr double kContrast = 5.5;
    while (contrast(rgbOf(color), ground) < kContrast && color.L < 1)
        color.L += 0.01;
    return rgbOf(color);
}

} // namespace

CoverPalette coverPalette(const Bitmap* cover)
{
    const auto clusters = cover ? clustersOf(cellsOf(*cover)) : std::vector<Cluster>();
    const Cluster* best = nullptr;
    for (const Cluster& cluster : clusters) {
        if (!best || scoreOf(cluster) > scoreOf(*best))
            best = &cluster;
    }
    const OKLab dark = darkestOf(clusters);
    CoverPalette palette;
    palette.isGrey = !best || scoreOf(*best) < 0.02;
    OKLab key = okLab({0xdc / 255.0, 0xd0 / 255.0, 0xb8 / 255.0, 1}),
          second = okLab({0xbf / 255.0, 0x94 / 255.0, 0x78 / 255.0, 1});
    if (palette.isGrey) {
        // The hue of what is all but grey is nobody's.
        palette.ground = rgbOf(OKLab::of(0.19, 0.012, dark.chroma() < 0.004 ? 265 : dark.hue()));
    } else {
        key = OKLab::of(
            std::clamp(best->lab.L, 0.66, 0.84), std::clamp(best->lab.chroma(), 0.06, 0.16), best->lab.hue());
        second = secondOf(clusters, key);
        const double hue = dark.chroma() < 0.02 ? second.hue() : dark.hue();
        palette.ground = rgbOf(OKLab::of(0.185, std::clamp(0.45 * dark.chroma(), 0.018, 0.05), hue));
    }
    palette.key = rgbOf(key);
    palette.second = rgbOf(second);
    palette.ink = rgbOf(OKLab::of(0.955, 0.012, key.hue()));
    palette.keyText = readable(key, palette.ground);
    return palette;
}

} // namespace vitrel::qc
