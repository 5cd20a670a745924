#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vitrel {

// The reason where all is well but for that.
inline constexpr const char* kNoComposition = "there is no composition in it";

// What became of files, folders and archives that somebody wants to have among the compositions.
struct Brought {
    struct Problem {
        std::string path; // as it was given
        std::string reason; // one line, for people
        friend bool operator==(const Problem&, const Problem&) = default;
    };
    std::vector<std::string> compositions; // full paths, each once
    std::vector<Problem> problems;
    friend bool operator==(const Brought&, const Brought&) = default;
};

// $XDG_DATA_HOME/vitrel/compositions, else ~/.local/share/vitrel/compositions; empty if there is no home either.
std::string unpackedFolder();

// A file counts as it is. Of a folder: all compositions in it and beneath, by their names, eight levels deep; links are
// not followed, hidden ones not looked at, and after 10,000 entries it is enough. A ZIP archive is unpacked into a
// folder of its own in `unpacked`, made if need be, and counts as that folder; one that was brought in before is found
// there again. Reads and writes; any thread.
Brought bring(const std::vector<std::string>& paths, const std::string& unpacked);

// Whether that is more than looking at a name.
bool takesTimeToBring(const std::string& path);

// From one process to another.
std::string textOf(const Brought& brought);
Brought broughtOfText(std::string_view text);

} // namespace vitrel
