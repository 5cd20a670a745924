#include "programs/feedkit/FeedJson.h"

#include "FeedKit/entries/Entries.h"
#include "base/Text.h"

#include <type_traits>

namespace vitrel {

namespace {

using namespace FeedKit;

void write(JsonText& to, const std::string& text)
{
    to.string(text);
}
void write(JsonText& to, std::int64_t number)
{
    to.integer(number);
}
void write(JsonText& to, double number)
{
    to.number(number);
}
void write(JsonText& to, bool flag)
{
    to.boolean(flag);
}
void write(JsonText& to, const Date& date)
{
    to.number(date.secondsSince1970);
}
template <class Enum>
requires std::is_enum_v<Enum>
void write(JsonText& to, Enum value)
{
    to.string(rawValue(value));
}
template <Model T> void write(JsonText& to, const T& model);
template <class T> void write(JsonText& to, const std::shared_ptr<T>& child)
{
    write(to, *child);
}
template <class T> void write(JsonText& to, const std::vector<T>& elements)
{
    to.begin('[');
    for (const auto& element : elements)
        write(to, element);
    to.end(']');
}

// Absent fields are left out, so whatever may be absent stands in a field.
template <class T> void writeField(JsonText& to, std::string_view name, const T& field)
{
    if (!field)
        return;
    to.key(name);
    write(to, *field);
}

template <class T> void writeField(JsonText& to, std::string_view name, const std::vector<T>& field)
{
    if (field.empty())
        return;
    to.key(name);
    write(to, field);
}

template <Model T> void write(JsonText& to, const T& model)
{
    to.begin('{');
    forEachField<T>([&](const auto& field) { writeField(to, field.name, model.*field.member); });
    to.end('}');
}

void writeModel(JsonText& to, const Feed& feed)
{
    switch (feed.which()) {
    case Feed::Case::atom:
        return write(to, *feed.atomFeed());
    case Feed::Case::rss:
        return write(to, *feed.rssFeed());
    case Feed::Case::json:
        return write(to, *feed.jsonFeed());
    }
}

void writeForgiven(JsonText& to, const Reading& reading)
{
    if (!reading.forgiven.empty()) {
        to.key("forgiven");
        to.begin('[');
        for (const auto& one : reading.forgiven) {
            to.begin('{');
            to.key("what");
            to.string(rawValue(one.what));
            to.key("count");
            to.integer(static_cast<std::int64_t>(one.count));
            to.key("first");
            to.string(repairedUtf8(one.first));
            to.end('}');
        }
        to.end(']');
    }
    if (reading.brokeOff) {
        to.key("brokeOff");
        to.string(reasonOf(*reading.brokeOff));
    }
}

} // namespace

// What a user can do something with: an internal error's description says little more than that it is one.
std::string reasonOf(const ParserError& error)
{
    const bool isInternal = error.which() == ParserError::Case::internalError;
    return repairedUtf8(isInternal ? error.payload() : error.failureReason());
}

std::string_view kindOf(const Feed& feed)
{
    switch (feed.which()) {
    case Feed::Case::atom:
        return "atom";
    case Feed::Case::rss:
        return "rss";
    case Feed::Case::json:
        return "json";
    }
    return {};
}

void writeDocumentJson(std::string_view name, const ParsedFeed& parsed, JsonLayout layout, const TextSink& sink)
{
    JsonText to(layout == JsonLayout::pretty, sink);
    to.begin('{');
    to.key("file");
    to.string(repairedUtf8(name));
    if (parsed) {
        to.key("kind");
        to.string(kindOf(parsed->feed));
        writeForgiven(to, *parsed);
        to.key("feed");
        writeModel(to, parsed->feed);
    } else {
        to.key("error");
        to.begin('{');
        to.key("case");
        to.string(parsed.error().name());
        to.key("reason");
        to.string(reasonOf(parsed.error()));
        to.end('}');
    }
    to.end('}');
}

std::string documentJson(std::string_view name, const ParsedFeed& parsed, JsonLayout layout)
{
    std::string text;
    writeDocumentJson(name, parsed, layout, [&](std::string_view piece) {
        text += piece;
        return true;
    });
    return text;
}

void writeEntriesJson(
    std::string_view name, const ParsedFeed& parsed, const URL& address, JsonLayout layout, const TextSink& sink)
{
    if (!parsed) {
        writeDocumentJson(name, parsed, layout, sink);
        sink("\n");
        return;
    }
    for (const auto& entry : entriesOf(parsed->feed, address).entries) {
        JsonText to(layout == JsonLayout::pretty, sink);
        to.begin('{');
        to.key("file");
        to.string(repairedUtf8(name));
        forEachField<Entry>([&](const auto& field) { writeField(to, field.name, entry.*field.member); });
        to.end('}');
        if (!sink("\n"))
            return;
    }
}

} // namespace vitrel
