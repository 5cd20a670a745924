#pragma once

#include <string>

namespace vitrel {

// The saver's own program, as seen from a program that came with it: beside that one, or in "bin" where that one lies
// in "libexec/vitrel".
std::string saverProgram();

// One of the programs that come with the saver and that it starts, by its name, as seen from the saver's own. Empty if
// it isn't installed.
std::string auxiliaryProgram(const std::string& name);

} // namespace vitrel
