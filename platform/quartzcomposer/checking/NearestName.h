#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vitrel::qc {

// How many letters must be added, left out, changed or exchanged with their neighbour (at least) to make one word of
// the other; upper and lower case are the same. Beyond `most` it isn't counted, and the result is more than that.
std::size_t distance(std::string_view a, std::string_view b, std::size_t most);

// The name that `given` was probably meant to be: one letter in three may be wrong, and what all names begin with
// ("input", "output", "QC", "CI") may be missing. Of several the first. Empty if none is near.
std::string nearestName(std::string_view given, const std::vector<std::string>& names);

// The same as the end of a message: `; "NAME" is near`, or nothing.
std::string nearestHint(std::string_view given, const std::vector<std::string>& names);

} // namespace vitrel::qc
