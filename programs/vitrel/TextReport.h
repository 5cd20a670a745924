#pragma once

#include "platform/quartzcomposer/checking/TextCheck.h"

#include <string>
#include <vector>

namespace vitrel {

// On standard error, a line each, as compilers do.
void printDiagnostics(const std::string& path, const std::vector<qc::Diagnostic>& diagnostics);

// What is wrong with a text form.
struct TextReport {
    bool hasErrors = false;
    std::string lines; // a few of all for a picture, errors first; empty if nothing is wrong
};
// Of the composition at `path`, printed if that is wanted; nothing for a file that is no text form. It looks at
// scripts: behind the confinement.
TextReport reportText(const std::string& path, bool prints = true);

} // namespace vitrel
