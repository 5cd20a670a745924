#include "FeedKit/basics/Letters.h"
#include "FeedKit/opml/OutlineNames.h"
#include "base/Text.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <unordered_set>

namespace FeedKit {

namespace {

// For an attribute's value or a text. White space other than blanks would be read as blanks in an attribute.
std::string escaped(std::string_view text)
{
    std::string out;
    for (const char c : vitrel::repairedUtf8(text)) {
        if (c == '&')
            out += "&amp;";
        else if (c == '<')
            out += "&lt;";
        else if (c == '>')
            out += "&gt;";
        else if (c == '"')
            out += "&quot;";
        else if (c == '\n' || c == '\r' || c == '\t')
            out.append("&#").append(std::to_string(static_cast<int>(c))).append(";");
        else if (static_cast<unsigned char>(c) >= 0x20)
            out += c;
    }
    // Noncharacters, which XML excludes, too.
    for (const std::string_view excluded : {"\uFFFE", "\uFFFF"}) {
        for (auto at = out.find(excluded); at != out.npos; at = out.find(excluded, at))
            out.replace(at, excluded.size(), "");
    }
    return out;
}

// RFC 822 with a year of four digits, as OPML wants it. Empty for a date that can't be written so, and for those before
// the Gregorian calendar, which readers take for Julian ones.
std::string dateText(const Date& date)
{
    using namespace std::chrono;
    constexpr auto secondsTo = [](sys_days day) { return duration<double>(day.time_since_epoch()).count(); };
    constexpr double kFirst = secondsTo(1583y / January / 1);
    constexpr double kEnd = secondsTo(10000y / January / 1);
    if (!(date.secondsSince1970 >= kFirst && date.secondsSince1970 < kEnd))
        return {};
    constexpr const char* kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    constexpr const char* kMonths[]
        = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const auto seconds = floor<std::chrono::seconds>(date.timePoint());
    const auto days = floor<std::chrono::days>(seconds);
    const year_month_day day(days);
    const hh_mm_ss time(seconds - days);
    char text[64];
    std::snprintf(text, sizeof text, "%s, %02u %s %04d %02d:%02d:%02d GMT", kDays[weekday(days).c_encoding()],
        static_cast<unsigned>(day.day()), kMonths[static_cast<unsigned>(day.month()) - 1], static_cast<int>(day.year()),
        static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
        static_cast<int>(time.seconds().count()));
    return text;
}

bool isOthersName(std::string_view name)
{
    const auto begins = [](char c) { return isASCIILetter(c) || c == '_'; };
    const auto goesOn = [&](char c) { return begins(c) || isASCIIDigit(c) || c == '-' || c == '.'; };
    const bool isField = sameIgnoringCase(name, kCategoryName) || sameIgnoringCase(name, "xmlns")
        || std::any_of(std::begin(kOutlineNames), std::end(kOutlineNames),
            [&](const auto& known) { return sameIgnoringCase(name, known.first); });
    return !name.empty() && begins(name[0]) && std::all_of(name.begin(), name.end(), goesOn) && !isField;
}

void attribute(std::string& out, std::string_view name, std::string_view value)
{
    out.append(" ").append(name).append("=\"").append(escaped(value)).append("\"");
}

void writeOutline(std::string& out, const Outline& outline, std::size_t level)
{
    out.append(2 * level, ' ').append("<outline");
    for (const auto& [name, field] : kOutlineNames) {
        if (outline.*field)
            attribute(out, name, *(outline.*field));
    }
    std::string categories;
    for (const auto& category : outline.categories)
        categories.append(categories.empty() ? "" : ",").append(category);
    if (!categories.empty())
        attribute(out, kCategoryName, categories);
    std::unordered_set<std::string_view> written;
    for (const auto& other : outline.others) {
        if (isOthersName(other.name) && written.insert(other.name).second)
            attribute(out, other.name, other.value);
    }
    if (outline.children.empty()) {
        out.append("/>\n");
        return;
    }
    out.append(">\n");
    for (const auto& child : outline.children)
        writeOutline(out, child, level + 1);
    out.append(2 * level, ' ').append("</outline>\n");
}

void gather(const std::vector<Outline>& from, std::unordered_set<std::string>& known, std::vector<Outline>& to)
{
    for (const auto& outline : from) {
        if (outline.xmlUrl && !outline.xmlUrl->empty() && known.insert(*outline.xmlUrl).second) {
            auto found = Outline{outline.text, outline.title, outline.type, outline.xmlUrl, outline.htmlUrl,
                outline.description, outline.language, outline.categories, outline.others, {}};
            to.push_back(std::move(found));
        }
        gather(outline.children, known, to);
    }
}

} // namespace

std::string writeOPML(const OPML& opml)
{
    std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<opml version=\"2.0\">\n  <head>\n";
    const auto element = [&](std::string_view name, std::string_view value) {
        out.append("    <").append(name).append(">").append(escaped(value)).append("</").append(name).append(">\n");
    };
    for (const auto& [name, field] : kHeadNames) {
        if (opml.*field)
            element(name, *(opml.*field));
    }
    for (const auto& [name, field] : kHeadDates) {
        if (const auto text = opml.*field ? dateText(*(opml.*field)) : std::string(); !text.empty())
            element(name, text);
    }
    out.append("  </head>\n  <body>\n");
    for (const auto& outline : opml.outlines)
        writeOutline(out, outline, 2);
    return out.append("  </body>\n</opml>\n");
}

std::vector<Outline> subscriptionsIn(const OPML& opml)
{
    std::vector<Outline> found;
    std::unordered_set<std::string> known;
    gather(opml.outlines, known, found);
    return found;
}

} // namespace FeedKit
