#pragma once

#include "platform/quartzcomposer/checking/TextCheck.h"

#include <string>
#include <vector>

namespace vitrel {

// On standard error, a line each, as compilers do.
void print(const std::string& path, const std::vector<qc::Diagnostic>& diagnostics);

// What is wrong with the composition at `path`, printed; gives the first of its errors, else the first of all; empty if
// nothing is, and for a file that is no text form. It may look at scripts: behind the confinement.
std::string reportText(const std::string& path);

} // namespace vitrel
