#pragma once

#include "base/Result.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vitrel {

// A text of XScreenSaver's file of settings, and Vitrel's place in its list: the resource "programs", whose entries are
// separated by a backslash and an "n", its lines continued by backslashes. Changes leave all other bytes as they are.
// A value without hidden state; any thread.
class SaverList
{
public:
    enum class State { Absent, SwitchedOff, Listed };

    // An error says what in the text isn't understood; such a text is nobody's to change.
    static Result<SaverList, std::string> read(std::string text);

    State state() const;
    // The text with Vitrel switched on in the list: its entry loses the mark that switches it off, or a new one with
    // `command` comes last, so that the others keep their numbers. The same text if it is Listed.
    std::string with(std::string_view command) const;
    // The text without any entry of Vitrel's, and without a list that has no others. The number of the chosen saver
    // moves along with that saver.
    std::string without() const;

private:
    struct Line {
        std::size_t begin, value, end; // value: behind the colon; end: of the value, at a line end or the text's end
    };
    struct Entry {
        std::size_t first, last; // what isn't blank
        std::size_t end; // where the separator is, or the list's end
        bool blank, on, ours;
    };

    explicit SaverList(std::string text)
        : text_(std::move(text))
    { }
    std::string readLines();
    std::string readLine(std::size_t begin, std::size_t end, std::size_t number);
    void readEntries();
    std::string selectedWithout() const;

    std::string text_;
    std::size_t lastLine_ = 0;
    bool hasPrograms_ = false, hasSelected_ = false;
    Line programs_{}, selected_{};
    std::vector<Entry> entries_;
};

} // namespace vitrel
