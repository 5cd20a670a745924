#pragma once

#include <string>

namespace vitrel::qc {

// The shaders of filters. A fragment shader knows `d`, the place in the image's pixels; `image0` to `image2` with their
// extents, sampled by at(K, place); the numbers `n` and the premultiplied colours `c` in the order of the filter's row.
std::string filterVertexShader();
// "copy" and "blur" (numbers: sigma, direction) beside the filters' names; "copy" for one that isn't known.
std::string filterFragmentShader(const std::string& filter);

} // namespace vitrel::qc
