#include "programs/filming/FilmFormat.h"

#include "base/Text.h"
#include "platform/appkit/AnimatedImageWriter.h"
#include "programs/filming/Y4MWriter.h"

#include <algorithm>
#include <cmath>

namespace vitrel {

namespace {

// Players take a GIF's shorter delays for none at all, and show it slowly.
constexpr double kFastestGIF = 50, kFastest = 240;
constexpr std::int64_t kMostFrames = 1'000'000;

} // namespace

std::optional<FilmKind> filmKindOf(const std::string& path)
{
    const std::string name = asciiLowercase(path);
    if (name.ends_with(".webp"))
        return FilmKind::WebP;
    if (name.ends_with(".gif"))
        return FilmKind::GIF;
    if (name.ends_with(".y4m") || name == "-")
        return FilmKind::Y4M;
    return std::nullopt;
}

std::pair<int, int> usualFilmSize(FilmKind kind)
{
    return kind == FilmKind::Y4M ? std::pair(1280, 720) : std::pair(640, 360);
}

double usualFilmRate(FilmKind kind)
{
    return kind == FilmKind::GIF ? 25 : 30;
}

std::int64_t FilmFormat::frames() const
{
    return std::max<std::int64_t>(1, std::llround(std::min(seconds * rate, 1e12)));
}

std::vector<int> FilmFormat::delays() const
{
    const double step = kind == FilmKind::GIF ? 10 : 1; // milliseconds
    std::vector<int> delays(static_cast<std::size_t>(std::min(frames(), kMostFrames)));
    std::int64_t shown = 0; // steps so far
    for (std::size_t k = 0; k < delays.size(); ++k) {
        const std::int64_t until = std::llround(timeOf(std::int64_t(k) + 1) * 1000 / step);
        delays[k] = int(double(until - shown) * step);
        shown = until;
    }
    return delays;
}

std::uint64_t FilmFormat::bytes() const
{
    return kind == FilmKind::Y4M
        ? Y4MWriter::headerFor(*this).size() + std::uint64_t(frames()) * Y4MWriter::bytesOfFrame(width, height)
        : 0;
}

std::string FilmFormat::whyNot() const
{
    if (kind == FilmKind::GIF && rate > kFastestGIF)
        return "a GIF shows at most 50 frames a second";
    if (rate > kFastest || frames() > kMostFrames)
        return "a film has at most 240 frames a second, and a million together";
    if (kind == FilmKind::Y4M)
        return {};
    const auto animation = kind == FilmKind::GIF ? AnimationKind::GIF : AnimationKind::WebP;
    return AnimatedImageWriter::fits({animation, width, height, delays()})
        ? std::string()
        : "so many pixels don't fit into a GIF or a WebP: all frames together may have 1000 megapixels and 10,000,000 "
          "rows; take a smaller --size, fewer --seconds, or a .y4m";
}

} // namespace vitrel
