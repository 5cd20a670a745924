#include "programs/saverlist/SaverList.h"

#include "base/Text.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>

namespace vitrel {

namespace {

constexpr std::string_view kBlanks = " \t"; // a line's own
constexpr const char* kName = "vitrel";

bool isBlankInLine(char c)
{
    return kBlanks.find(c) != std::string_view::npos;
}

std::string_view trimmedLine(std::string_view line)
{
    return trimmed(line, kBlanks);
}

// Where the line that begins at `begin` ends, with those that continue it.
std::size_t endOfLine(std::string_view text, std::size_t begin)
{
    for (std::size_t k = begin; k < text.size(); ++k) {
        if (text[k] == '\n')
            return k;
        if (text[k] == '\\')
            ++k;
    }
    return text.size();
}

// An entry is [-] [VISUAL:] ["NAME"] COMMAND.
bool startsVitrel(std::string_view entry)
{
    entry = trimmedLine(entry.substr(entry.starts_with('-') ? 1 : 0));
    if (entry.starts_with('-')) // switched on, it would be off still
        return false;
    const auto word = entry.substr(0, std::min(entry.find_first_of(kBlanks), entry.size()));
    if (word.ends_with(':') && word.find('"') == std::string_view::npos)
        entry = trimmedLine(entry.substr(word.size()));
    if (entry.starts_with('"')) {
        const auto close = entry.find('"', 1);
        if (close == std::string_view::npos)
            return false;
        entry = trimmedLine(entry.substr(close + 1));
    }
    const auto command = entry.substr(0, std::min(entry.find_first_of(kBlanks), entry.size()));
    return !command.starts_with('-') && command.substr(command.rfind('/') + 1) == kName;
}

std::string entryFor(std::string_view command)
{
    return "\t\"Vitrel\"  " + std::string(command);
}

} // namespace

Result<SaverList, std::string> SaverList::read(std::string text)
{
    SaverList list(std::move(text));
    if (std::string error = list.readLines(); !error.empty())
        return error;
    if (list.hasPrograms_)
        list.readEntries();
    return list;
}

// Empty, or what isn't understood.
std::string SaverList::readLines()
{
    const auto control = [](unsigned char c) { return (c < ' ' && c != '\t' && c != '\n') || c == 0x7F; };
    if (std::any_of(text_.begin(), text_.end(), control))
        return "it isn't text";
    const auto backslashes = text_.size() - (text_.find_last_not_of('\\') + 1);
    if (backslashes % 2 == 1)
        return "it ends within a line";
    std::size_t number = 1;
    for (std::size_t begin = 0; begin < text_.size();) {
        const std::size_t end = endOfLine(text_, begin);
        lastLine_ = begin;
        if (std::string error = readLine(begin, end, number); !error.empty())
            return error;
        number += 1
            + static_cast<std::size_t>(
                std::count(text_.begin() + std::ptrdiff_t(begin), text_.begin() + std::ptrdiff_t(end), '\n'));
        begin = end + 1;
    }
    return {};
}

std::string SaverList::readLine(std::size_t begin, std::size_t end, std::size_t number)
{
    const auto line = std::string_view(text_).substr(begin, end - begin);
    const auto first = line.find_first_not_of(kBlanks);
    if (first == std::string_view::npos)
        return {};
    const auto fail = [number](const char* what) { return "line " + std::to_string(number) + " " + what; };
    if (line[first] == '#' || line[first] == '!')
        // Whether the next line belongs to it isn't told alike everywhere.
        return line.find('\n') == std::string_view::npos ? "" : fail("is a remark that goes on");
    const auto colon = line.find(':');
    const auto name = trimmedLine(line.substr(0, colon));
    if (colon == std::string_view::npos || name.find_first_of(" \t\\\n\"") != std::string_view::npos)
        return fail("is no setting");
    const Line found{begin, begin + colon + 1, end};
    if (name == "programs") {
        programs_ = found;
        return std::exchange(hasPrograms_, true) ? fail("is a second list") : "";
    }
    if (name == "selected") {
        selected_ = found;
        return std::exchange(hasSelected_, true) ? fail("is a second choice") : "";
    }
    return {};
}

void SaverList::readEntries()
{
    Entry entry{};
    std::string said; // without what continues lines
    const auto finish = [&](std::size_t end) {
        entry.end = end;
        entry.blank = said.empty();
        entry.on = !said.starts_with('-');
        entry.ours = startsVitrel(said);
        entries_.push_back(entry);
        entry = {};
        said.clear();
    };
    for (std::size_t k = programs_.value; k < programs_.end;) {
        const bool escaped = text_[k] == '\\' && k + 1 < programs_.end;
        const char c = text_[k + (escaped ? 1 : 0)];
        const std::size_t next = k + (escaped ? 2 : 1);
        if (escaped && c == 'n') {
            finish(k);
        } else if (!(escaped && c == '\n') && !(said.empty() && isBlankInLine(c))) {
            if (said.empty())
                entry.first = k;
            said += c;
            if (!isBlankInLine(c))
                entry.last = next;
        }
        k = next;
    }
    finish(programs_.end);
}

SaverList::State SaverList::state() const
{
    State state = State::Absent;
    for (const auto& entry : entries_) {
        if (entry.ours && entry.on)
            return State::Listed;
        if (entry.ours)
            state = State::SwitchedOff;
    }
    return state;
}

std::string SaverList::with(std::string_view command) const
{
    std::string text = text_;
    if (state() == State::Listed)
        return text;
    const auto ours = std::find_if(entries_.begin(), entries_.end(), [](const Entry& entry) { return entry.ours; });
    if (ours != entries_.end())
        return text.erase(ours->first, text[ours->first] == '\\' ? 2 : 1);
    if (!hasPrograms_) {
        // The last line has no end, or goes on into nothing.
        if (!text.empty() && endOfLine(text, lastLine_) == text.size())
            text += '\n';
        return text + "programs:\t\\\n" + entryFor(command) + "\t\\n\\\n\n";
    }
    const auto last = std::find_if(entries_.rbegin(), entries_.rend(), [](const Entry& entry) { return !entry.blank; });
    if (last == entries_.rend())
        return text.insert(programs_.value, "\t\\\n" + entryFor(command));
    return text.insert(last->last, "\\n\\\n" + entryFor(command));
}

std::string SaverList::without() const
{
    const auto kept = [](const Entry& entry) { return !entry.blank && !entry.ours; };
    const auto first = std::find_if(entries_.begin(), entries_.end(), kept);
    std::vector<std::pair<std::size_t, std::size_t>> cuts;
    if (state() == State::Absent) {
        return text_;
    } else if (first == entries_.end()) {
        cuts.push_back({programs_.begin, std::min(programs_.end + 1, text_.size())});
    } else {
        auto entry = entries_.begin();
        if (entry->ours) {
            // None stands ahead of it whose separator could go, so that the next one takes its place.
            cuts.push_back({entry->first, first->first});
            entry = first;
        }
        for (std::size_t end = entry->end; ++entry != entries_.end(); end = entry->end) {
            if (entry->ours)
                cuts.push_back({end, entry->last});
        }
    }
    std::string text;
    std::size_t done = 0;
    const auto copyTo = [&](std::size_t end) { text.append(text_, done, end - done); };
    // Without others in the list it counts those of the system.
    const std::string chosen = first == entries_.end() ? "" : selectedWithout();
    if (!chosen.empty()) {
        // One more cut, in whose place something stands.
        const auto value = std::string_view(text_).substr(selected_.value, selected_.end - selected_.value);
        const auto at = selected_.value + value.find_first_not_of(kBlanks);
        cuts.push_back({at, at + trimmedLine(value).size()});
        std::sort(cuts.begin(), cuts.end());
    }
    for (const auto& [begin, end] : cuts) {
        copyTo(begin);
        if (begin >= selected_.value && begin < selected_.end)
            text += chosen;
        done = end;
    }
    copyTo(text_.size());
    return text;
}

// The number of the chosen saver once Vitrel has gone; empty if that is no other.
std::string SaverList::selectedWithout() const
{
    if (!hasSelected_)
        return {};
    const auto said = trimmedLine(std::string_view(text_).substr(selected_.value, selected_.end - selected_.value));
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(said.data(), said.data() + said.size(), number);
    if (error != std::errc() || end != said.data() + said.size())
        return {};
    std::size_t place = 0, before = 0;
    for (const auto& entry : entries_) {
        if (entry.blank)
            continue;
        if (entry.ours && place < number)
            ++before;
        ++place;
    }
    // A number beyond the list is nothing of ours.
    return before && number < place ? std::to_string(number - before) : "";
}

} // namespace vitrel
