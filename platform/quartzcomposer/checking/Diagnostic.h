#pragma once

#include "platform/quartzcomposer/file/TextTree.h"

#include <cstddef>
#include <string>
#include <vector>

namespace vitrel::qc {

// Something to tell an author.
struct Diagnostic {
    enum Severity { Error, Warning } severity = Error;
    std::size_t offset = 0; // in the text, in bytes
    TextPlace place;
    std::string text; // one line, without a full stop
};

// "FILE:LINE:COLUMN: error: TEXT", as compilers say it and editors read it.
std::string lineOf(const std::string& file, const Diagnostic& diagnostic);

bool hasErrors(const std::vector<Diagnostic>& diagnostics);

// A name in a message: in quotation marks, on one line, and no longer than one reads.
std::string quoted(const std::string& name);

} // namespace vitrel::qc
