#pragma once

#include "platform/quartzcomposer/graph/PortValue.h"
#include "platform/quartzcomposer/scene/Matrix.h"

#include <optional>

namespace vitrel::qc {

// A number of a member, under its key ("X" or "x") if the structure has keys, else, or under the key "0", by its
// position. Absent if there is none; what isn't finite is 0.
std::optional<double> memberNumber(const Structure& of, const char* key, std::size_t position);

// X, Y and Z of a point; what is missing is 0. Absent for what is no structure.
std::optional<Vec3> pointOf(const PortValue& value);
// R, G, B, A by key alone, or as members 0 to 3; absent without R.
std::optional<NSColor> colorOf(const PortValue& value, bool byPosition);

// Members of a list, at most so many.
std::size_t countOf(const StructureRef& list, std::size_t most);

StructureRef listOf(std::initializer_list<double> numbers);

} // namespace vitrel::qc
