#pragma once

#include "platform/quartzcomposer/reference/Reference.h"

namespace vitrel::qc {

// For a person at a terminal of so many columns.

// All classes by family, a line each, with their titles.
std::string referenceList(const std::vector<ReferenceFamily>& families, std::size_t columns);

// What there is to know of one.
std::string referencePage(const ReferencePatch& patch, std::size_t columns);

// The patch of this name, upper and lower case being the same; of a kind its own name does, if there is one of it
// alone ("CIGaussianBlur"). Null for none.
const ReferencePatch* patchNamed(const std::vector<ReferenceFamily>& families, const std::string& name);

} // namespace vitrel::qc
