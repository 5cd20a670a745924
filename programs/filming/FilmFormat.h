#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vitrel {

enum class FilmKind { WebP, GIF, Y4M };

// By the end of its name; "-" is Y4M. Absent for others.
std::optional<FilmKind> filmKindOf(const std::string& path);

// A film before it is made.
struct FilmFormat {
    FilmKind kind = FilmKind::WebP;
    int width = 0, height = 0; // pixels
    double rate = 0; // frames a second
    double seconds = 0;

    std::int64_t frames() const; // at least one
    // When a frame is, in seconds.
    double timeOf(std::int64_t frame) const { return double(frame) / rate; }
    // Milliseconds that each is shown, without a drift. A GIF counts in hundredths of a second.
    std::vector<int> delays() const;
    // Bytes of the file, where they are known ahead; else 0.
    std::uint64_t bytes() const;
    // Why there can't be one; empty if there can.
    std::string whyNot() const;
};

// What is usual for a kind.
std::pair<int, int> usualFilmSize(FilmKind kind);
double usualFilmRate(FilmKind kind);

} // namespace vitrel
