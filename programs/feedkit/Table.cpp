#include "programs/feedkit/Table.h"

#include "base/Text.h"

#include <sys/ioctl.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace vitrel {

namespace {

using namespace FeedKit;

constexpr unsigned kUsualWidth = 100;
constexpr unsigned kLeastWidth = 40;
constexpr unsigned kMostWidth = 1000;
constexpr unsigned kGap = 2;
// Of a title that goes over all, or of a text that stands in for one.
constexpr std::size_t kMostBytes = 4096;

unsigned columnsOfCharacter(UChar32 character)
{
    switch (u_charType(character)) {
    case U_NON_SPACING_MARK:
    case U_ENCLOSING_MARK:
    case U_FORMAT_CHAR:
        return 0;
    default:
        break;
    }
    const auto width = u_getIntPropertyValue(character, UCHAR_EAST_ASIAN_WIDTH);
    return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

// The character at `at`, which moves behind it; U+FFFD for a byte that isn't UTF-8.
UChar32 nextCharacter(std::string_view text, std::size_t& at)
{
    UChar32 character = 0;
    auto offset = static_cast<std::int64_t>(at);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    U8_NEXT_OR_FFFD(bytes, offset, static_cast<std::int64_t>(text.size()), character);
    at = static_cast<std::size_t>(offset);
    return character;
}

// On one line, without what a terminal takes for a command or for a change of direction.
std::string shownOf(std::string_view text)
{
    std::string out;
    const auto whole = repairedUtf8(text.substr(0, kMostBytes));
    for (std::size_t at = 0; at < whole.size();) {
        const auto begin = at;
        const auto character = nextCharacter(whole, at);
        const auto type = u_charType(character);
        const bool joins = character == 0x200C || character == 0x200D; // within words and emoji
        if (type == U_CONTROL_CHAR || type == U_LINE_SEPARATOR || type == U_PARAGRAPH_SEPARATOR)
            out += ' ';
        else if (type != U_FORMAT_CHAR || joins)
            out.append(whole, begin, at - begin);
    }
    return out;
}

// The beginning of `text` that fits, with "…" at the end if it isn't all.
std::string cut(const std::string& text, unsigned width)
{
    unsigned taken = 0;
    std::size_t fits = 0; // with the sign behind it
    for (std::size_t at = 0; at < text.size();) {
        taken += columnsOfCharacter(nextCharacter(text, at));
        if (taken > width)
            return std::string(trimmed(std::string_view(text).substr(0, fits))) + "…";
        if (taken < width)
            fits = at;
    }
    return text;
}

std::string padded(std::string text, unsigned width)
{
    const auto taken = columnsOf(text);
    return text.append(taken < width ? width - taken : 0, ' ');
}

std::string dateOf(const Entry& entry, bool withTime)
{
    using namespace std::chrono;
    const auto date = entry.date();
    if (!date)
        return {};
    const auto minutes = floor<std::chrono::minutes>(date->timePoint());
    const year_month_day day(floor<days>(minutes));
    const hh_mm_ss time(minutes - floor<days>(minutes));
    char text[40];
    std::snprintf(text, sizeof text, withTime ? "%04d-%02u-%02u %02d:%02d" : "%04d-%02u-%02u",
        static_cast<int>(day.year()), static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()),
        static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()));
    return text;
}

std::string titleOf(const Entry& entry)
{
    if (entry.title)
        return shownOf(*entry.title);
    const auto* body = entry.body();
    return shownOf(body && body->text ? *body->text : "");
}

struct Row {
    std::string date, title, link;
};

unsigned widest(const std::vector<Row>& rows, std::string Row::*column)
{
    unsigned most = 0;
    for (const auto& row : rows)
        most = std::max(most, columnsOf(row.*column));
    return most;
}

} // namespace

unsigned terminalWidth()
{
    if (const char* said = std::getenv("COLUMNS")) {
        if (const auto number = leadingNumber(said); number && *number >= 1 && *number <= kMostWidth)
            return static_cast<unsigned>(*number);
    }
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return std::min<unsigned>(size.ws_col, kMostWidth);
    return kUsualWidth;
}

unsigned columnsOf(std::string_view text)
{
    unsigned columns = 0;
    for (std::size_t at = 0; at < text.size();)
        columns += columnsOfCharacter(nextCharacter(text, at));
    return columns;
}

std::string tableOf(std::string_view name, const Entries& entries, unsigned width)
{
    width = std::max(width, kLeastWidth);
    std::vector<Row> rows;
    for (const auto& entry : entries.entries)
        rows.push_back({dateOf(entry, width >= 80), titleOf(entry), shownOf(entry.link.value_or(""))});
    const auto dates = widest(rows, &Row::date);
    const auto links = widest(rows, &Row::link);
    const unsigned rest = width - (dates > 0 ? dates + kGap : 0);
    // Half of the room is for links, so that they can be followed; where that can't hold all, a third shows where to.
    const unsigned forLink = links <= rest / 2 ? links : rest / 3;
    const unsigned forTitle = std::min(widest(rows, &Row::title), rest - (links > 0 ? forLink + kGap : 0));
    const unsigned linkRoom = rest - forTitle - kGap;

    auto heading = shownOf(entries.title ? std::string_view(*entries.title) : name);
    if (entries.link)
        heading += " - " + shownOf(*entries.link);
    std::string out = cut(heading, width) + "\n";
    for (const auto& row : rows) {
        std::string line;
        if (dates > 0)
            line = padded(row.date, dates + kGap);
        line += row.link.empty() ? cut(row.title, rest)
                                 : padded(cut(row.title, forTitle), forTitle + kGap) + cut(row.link, linkRoom);
        out.append(line, 0, line.find_last_not_of(' ') + 1).append("\n");
    }
    return out;
}

} // namespace vitrel
