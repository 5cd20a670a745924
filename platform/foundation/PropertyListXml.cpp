#include "base/Text.h"
#include "platform/foundation/PropertyList.h"
#include "platform/foundation/PropertyListLimits.h"
#include "platform/foundation/PropertyListParts.h"

#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>
#include <utility>

#include <expat.h>

namespace vitrel {
namespace {

using namespace plist;

std::optional<Value> integerOf(std::string_view text)
{
    text = trimmed(text);
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+'))
        text.remove_prefix(1);
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
        base = 16;
    }
    std::uint64_t number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (text.empty() || read.ptr != text.data() + text.size() || read.ec == std::errc::invalid_argument)
        return std::nullopt;
    using Limits = std::numeric_limits<std::int64_t>;
    const bool beyond = read.ec == std::errc::result_out_of_range || number > std::uint64_t(Limits::max());
    if (beyond)
        return negative ? Limits::min() : Limits::max();
    return negative ? -static_cast<std::int64_t>(number) : static_cast<std::int64_t>(number);
}

std::optional<Value> realOf(std::string_view text)
{
    text = trimmed(text);
    if (text.starts_with('+'))
        text.remove_prefix(1);
    double number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    if (read.ec == std::errc::invalid_argument || read.ptr != text.data() + text.size())
        return std::nullopt;
    return number;
}

// "2012-04-30T11:59:01Z", with a fraction of a second if there is one.
std::optional<Value> dateOf(std::string_view text)
{
    const std::string clean(trimmed(text));
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, end = 0;
    double second = 0;
    if (clean.size() > 40
        || std::sscanf(clean.c_str(), "%5d-%2d-%2dT%2d:%2d:%n", &year, &month, &day, &hour, &minute, &end) != 5
        || end == 0)
        return std::nullopt;
    const auto read = std::from_chars(clean.data() + end, clean.data() + clean.size(), second);
    if (read.ec != std::errc() || std::string_view(read.ptr) != "Z")
        return std::nullopt;
    const std::chrono::year_month_day date{
        std::chrono::year(year), std::chrono::month(unsigned(month)), std::chrono::day(unsigned(day))};
    if (!date.ok() || hour < 0 || hour > 23 || minute < 0 || minute > 59 || !(second >= 0 && second < 61))
        return std::nullopt;
    const auto days = std::chrono::sys_days(date).time_since_epoch().count();
    return Value(Date{static_cast<double>(days) * 86400 + hour * 3600 + minute * 60 + second});
}

std::optional<Value> dataOf(std::string_view text)
{
    std::string digits;
    digits.reserve(text.size());
    for (const char c : text) {
        if (!isBlank(c))
            digits += c;
    }
    auto bytes = decodeBase64(digits);
    if (!bytes)
        return std::nullopt;
    return Value(std::move(*bytes));
}

enum class Element { Plist, Array, Dictionary, Key, String, Integer, Real, Date, Data, True, False };

std::optional<Element> elementNamed(std::string_view name)
{
    constexpr std::pair<std::string_view, Element> names[]
        = {{"plist", Element::Plist}, {"array", Element::Array}, {"dict", Element::Dictionary}, {"key", Element::Key},
            {"string", Element::String}, {"integer", Element::Integer}, {"real", Element::Real},
            {"date", Element::Date}, {"data", Element::Data}, {"true", Element::True}, {"false", Element::False}};
    for (const auto& entry : names) {
        if (entry.first == name)
            return entry.second;
    }
    return std::nullopt;
}

bool isContainer(Element element)
{
    return element == Element::Plist || element == Element::Array || element == Element::Dictionary;
}

class Reader
{
public:
    std::optional<Value> read(ByteView data)
    {
        parser_ = XML_ParserCreate(nullptr);
        if (!parser_)
            return std::nullopt;
        XML_SetUserData(parser_, this);
        XML_SetElementHandler(
            parser_, [](void* self, const char* name, const char**) { static_cast<Reader*>(self)->start(name); },
            [](void* self, const char*) { static_cast<Reader*>(self)->end(); });
        XML_SetCharacterDataHandler(parser_, [](void* self, const char* text, int size) {
            static_cast<Reader*>(self)->text({text, static_cast<std::size_t>(size)});
        });
        // A property list declares no entities and no attributes; what does wants to grow, to nest deeper than the
        // stack, or to make each element costly. An external subset is never fetched.
        XML_SetEntityDeclHandler(parser_,
            [](void* self, const char*, int, const char*, int, const char*, const char*, const char*, const char*) {
                static_cast<Reader*>(self)->fail();
            });
        XML_SetAttlistDeclHandler(parser_, [](void* self, const char*, const char*, const char*, const char*, int) {
            static_cast<Reader*>(self)->fail();
        });
        // In one piece: expat then keeps no copy of the input and looks at each byte once.
        const bool parsed
            = XML_Parse(parser_, reinterpret_cast<const char*>(data.data()), static_cast<int>(data.size()), XML_TRUE)
            == XML_STATUS_OK;
        XML_ParserFree(parser_);
        if (!parsed || failed_ || !result_)
            return std::nullopt;
        return std::move(result_);
    }

private:
    struct Open {
        Element element;
        Array members;
        Dictionary entries;
        std::string key;
        bool hasKey = false;
    };

    void fail()
    {
        failed_ = true;
        XML_StopParser(parser_, XML_FALSE);
    }

    void start(std::string_view name)
    {
        if (failed_)
            return;
        const auto element = elementNamed(name);
        const bool top = open_.empty();
        if (!element || (!top && !isContainer(open_.back().element)) || (*element == Element::Plist && !top))
            return fail();
        const bool inDictionary = !top && open_.back().element == Element::Dictionary;
        if (inDictionary ? (*element == Element::Key) == open_.back().hasKey : *element == Element::Key)
            return fail();
        if (isContainer(*element)) {
            // A plist element stands outside the value and doesn't count.
            const bool framed = !open_.empty() && open_.front().element == Element::Plist;
            if ((*element != Element::Plist && open_.size() - (framed ? 1 : 0) >= kMaximumDepth)
                || !budget_.take(kContainerCost))
                return fail();
        }
        open_.push_back(Open{*element, {}, {}, {}, false});
        text_.clear();
    }

    void text(std::string_view text)
    {
        if (failed_ || open_.empty())
            return;
        if (isContainer(open_.back().element)) {
            if (!trimmed(text).empty())
                fail();
            return;
        }
        if (text_.size() + text.size() > kMaximumText || !budget_.take(text.size()))
            return fail();
        text_.append(text);
    }

    void end()
    {
        if (failed_)
            return;
        Open closed = std::move(open_.back());
        open_.pop_back();
        if (closed.element == Element::Plist) {
            if (closed.members.size() != 1)
                return fail();
            result_ = std::move(closed.members.front());
            return;
        }
        if (closed.element == Element::Key) {
            open_.back().key = std::move(text_);
            open_.back().hasKey = true;
            text_.clear();
            return;
        }
        auto value = valueOf(closed);
        if (!value)
            return fail();
        give(std::move(*value));
    }

    std::optional<Value> valueOf(Open& closed)
    {
        switch (closed.element) {
        case Element::Array:
            return Value(std::move(closed.members));
        case Element::Dictionary:
            return dictionaryOf(closed);
        case Element::String:
            return Value(std::exchange(text_, {}));
        case Element::Integer:
            return integerOf(text_);
        case Element::Real:
            return realOf(text_);
        case Element::Date:
            return dateOf(text_);
        case Element::Data:
            if (!budget_.take(text_.size()))
                return std::nullopt;
            return dataOf(text_);
        case Element::True:
            return Value(true);
        case Element::False:
            return Value(false);
        case Element::Plist:
        case Element::Key:
            break;
        }
        return std::nullopt;
    }

    static std::optional<Value> dictionaryOf(Open& closed)
    {
        if (closed.hasKey)
            return std::nullopt; // the last key has no value
        // How XML writes a UID, which the binary form has a kind for.
        const auto uid = closed.entries.find("CF$UID");
        if (closed.entries.size() == 1 && uid != closed.entries.end() && uid->second.as<std::int64_t>())
            return uid->second;
        return Value(std::move(closed.entries));
    }

    void give(Value value)
    {
        if (open_.empty()) {
            result_ = std::move(value);
            return;
        }
        Open& parent = open_.back();
        if (!budget_.takeReferences(1) || !budget_.take(kEntryCost))
            return fail();
        if (parent.element == Element::Dictionary) {
            parent.entries.insert_or_assign(std::move(parent.key), std::move(value));
            parent.hasKey = false;
            parent.key.clear();
        } else {
            parent.members.push_back(std::move(value));
        }
    }

    XML_Parser parser_ = nullptr;
    bool failed_ = false;
    std::vector<Open> open_;
    std::string text_;
    std::optional<Value> result_;
    Budget budget_;
};

std::string dateText(Date date)
{
    // What four digits of a year can say.
    const double seconds = std::isnan(date.secondsSince1970)
        ? 0
        : std::min(std::max(date.secondsSince1970, -62135596800.0), 253402300799.0);
    const double whole = std::floor(seconds);
    const auto days = std::chrono::floor<std::chrono::days>(
        std::chrono::sys_seconds(std::chrono::seconds(static_cast<std::int64_t>(whole))));
    const std::chrono::year_month_day day(days);
    const auto inDay = static_cast<int>(static_cast<std::int64_t>(whole) - days.time_since_epoch().count() * 86400);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:", int(day.year()), unsigned(day.month()),
        unsigned(day.day()), inDay / 3600, inDay / 60 % 60);
    std::string second = shortestDecimal(inDay % 60 + (seconds - whole));
    if (second.find('e') != std::string::npos)
        second = std::to_string(inDay % 60);
    if (second.size() < 2 || second[1] == '.')
        second.insert(0, 1, '0');
    return text + second + "Z";
}

class Writer
{
public:
    std::string write(const Value& value)
    {
        out_ = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
               "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
               "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">\n";
        if (!put(value, 0))
            return {};
        out_ += "</plist>\n";
        return out_;
    }

private:
    void line(std::size_t depth, std::string_view text) { out_.append(depth, '\t').append(text).append("\n"); }

    void element(std::size_t depth, std::string_view name, std::string_view raw)
    {
        out_.append(depth, '\t').append("<").append(name).append(">");
        const std::string text = repairedUtf8(raw);
        for (std::size_t at = 0; at < text.size(); ++at) {
            const char c = text[at];
            if (text.compare(at, 3, "\xEF\xBF\xBE") == 0 || text.compare(at, 3, "\xEF\xBF\xBF") == 0) {
                out_ += "\xEF\xBF\xBD"; // U+FFFE and U+FFFF are no characters of XML
                at += 2;
            } else if (c == '&')
                out_ += "&amp;";
            else if (c == '<')
                out_ += "&lt;";
            else if (c == '>')
                out_ += "&gt;";
            else if (c == '\r')
                out_ += "&#13;";
            else if (static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t')
                out_ += "\xEF\xBF\xBD";
            else
                out_ += c;
        }
        out_.append("</").append(name).append(">\n");
    }

    bool put(const Value& value, std::size_t depth)
    {
        if (out_.size() > kMaximumOutput)
            return false;
        if (const auto* array = value.array())
            return putArray(*array, depth);
        if (const auto* dictionary = value.dictionary())
            return putDictionary(*dictionary, depth);
        if (const auto* flag = value.as<bool>())
            line(depth, *flag ? "<true/>" : "<false/>");
        else if (const auto* integer = value.as<std::int64_t>())
            element(depth, "integer", std::to_string(*integer));
        else if (const auto* number = value.as<double>())
            element(depth, "real", shortestDecimal(*number));
        else if (const auto* date = value.as<Date>())
            element(depth, "date", dateText(*date));
        else if (const auto* bytes = value.bytes())
            element(depth, "data", encodeBase64(*bytes));
        else if (const auto* text = value.as<std::string>())
            element(depth, "string", *text);
        else
            return false;
        return true;
    }

    bool putArray(const Array& array, std::size_t depth)
    {
        if (depth >= kMaximumDepth)
            return false;
        line(depth, "<array>");
        for (const Value& member : array) {
            if (isPropertyListValue(member) && !put(member, depth + 1))
                return false;
        }
        line(depth, "</array>");
        return true;
    }

    bool putDictionary(const Dictionary& dictionary, std::size_t depth)
    {
        if (depth >= kMaximumDepth)
            return false;
        line(depth, "<dict>");
        for (const auto& [key, member] : dictionary) {
            if (!isPropertyListValue(member))
                continue;
            element(depth + 1, "key", key);
            if (!put(member, depth + 1))
                return false;
        }
        line(depth, "</dict>");
        return true;
    }

    std::string out_;
};

} // namespace

std::optional<Value> plist::readXml(ByteView data)
{
    return Reader().read(data);
}

std::string xmlPropertyList(const Value& value)
{
    return Writer().write(value);
}

} // namespace vitrel
