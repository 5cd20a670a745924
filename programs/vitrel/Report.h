#pragma once

#include <iomanip>
#include <iostream>
#include <string>

namespace vitrel {

// One line for each part: its name, its state, what was found, and what to do about it.
class Report
{
public:
    void good(const char* part, const std::string& found) { line(part, "ok", found); }
    // Nothing is wrong, but there is nothing to show either.
    void idle(const char* part, const std::string& found) { line(part, "-", found); }
    void broken(const char* part, const std::string& found)
    {
        line(part, "broken", found);
        broken_ = true;
    }
    int exitCode() const { return broken_ ? 1 : 0; }

private:
    static void line(const char* part, const char* state, const std::string& found)
    {
        std::cout << std::left << std::setw(11) << part << std::setw(8) << state << found << std::endl;
    }

    bool broken_ = false;
};

// What the desktop gives: displays, OpenGL, who tells of idleness, who locks and starts savers.
void examineDesktop(Report& report);

} // namespace vitrel
