#pragma once

#include <span>

namespace vitrel::qc {

// How a filter computes a pixel: the body of `vec4 filtered(vec2 d)`, in the words that FilterShaders.h tells.
struct FilterRow {
    const char* filter;
    const char* body;
};

std::span<const FilterRow> filterRows(); // colours, compositing, blurs
std::span<const FilterRow> patternFilterRows(); // generators, screens, cells
std::span<const FilterRow> distortionFilterRows(); // distortions, tiles, transitions, averages

} // namespace vitrel::qc
