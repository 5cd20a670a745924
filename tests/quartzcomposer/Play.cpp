#include "quartzcomposer/Play.h"

#include "platform/quartzcomposer/file/TextForm.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <cstring>

namespace vitrel::qc {

namespace {

bool isWord(char c)
{
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '/';
}

// The end of a text or of what is in brackets, which begins at `at`.
std::size_t endOf(std::string_view text, std::size_t at)
{
    const char open = text[at];
    const bool isText = open == '\'' || open == '"';
    for (++at; at < text.size(); ++at) {
        if (isText ? text[at] == open : text[at] == '}' || text[at] == ']')
            return at + 1;
        if (isText && text[at] == '\\')
            ++at;
        else if (!isText && std::strchr("{['\"", text[at]))
            at = endOf(text, at) - 1;
    }
    return at;
}

// JSON from the notation of the tests, see Play.h.
std::string json(std::string_view text)
{
    std::string out;
    for (std::size_t at = 0, end = 0; at < text.size(); at = end) {
        end = at + 1;
        if (text[at] == '\'' || text[at] == '"') {
            end = endOf(text, at);
            out += '"' + std::string(text.substr(at + 1, end - at - 2)) + '"';
            continue;
        }
        while (isWord(text[at]) && end < text.size() && isWord(text[end]))
            ++end;
        const std::string word(text.substr(at, end - at));
        if (isWord(text[at]) && end < text.size() && text[end] == ':') {
            out += '"' + word + '"';
        } else if (word.starts_with("QC") || word.front() == '/') {
            out += R"({"class": ")" + word + '"';
            for (;;) { // groups, with blanks ahead of them
                const std::size_t from = text.find_first_not_of(" \n", end);
                const std::size_t group = text.find_first_of("{[,}", std::min(from, text.size()));
                if (from == end || group == text.npos || text[group] == ',' || text[group] == '}')
                    break;
                std::string key(text.substr(from, group - from));
                key = key.empty() ? "inputs" : key == "with " ? "settings" : key.substr(0, key.size() - 1);
                end = endOf(text, group);
                out += ", \"" + key + "\": " + json(text.substr(group, end - group));
            }
            out += '}';
        } else {
            out += word;
        }
    }
    return out;
}

} // namespace

const PatchRegistry& registry()
{
    static const auto* const all = new PatchRegistry(allPatches());
    return *all;
}

CompositionFile fileOf(std::string_view text)
{
    const auto list = compositionFromText(json(text), "");
    EXPECT_TRUE(list) << list.error().reason << "\n" << text;
    auto file = compositionOfPropertyList(list ? *list : Value());
    EXPECT_TRUE(file) << file.error().reason;
    return file ? *std::move(file) : CompositionFile{};
}

Player::Player(std::string_view text, int width, int height)
    : Player(fileOf(text), width, height)
{ }

Player::Player(CompositionFile given, int width, int height)
    : file(std::make_unique<CompositionFile>(std::move(given)))
    , canvas(width, height)
    , stage(canvas)
    , graph(std::make_unique<CompositionGraph>(*file, registry()))
{ }

CompositionGraph::Frame Player::frame(double time)
{
    return graph->frame(stage, time, Date::fromReferenceDate(time));
}

std::string Player::out(const std::string& key)
{
    return shown(value(key));
}

double Player::number(const std::string& key)
{
    return *converted(value(key), PortType::Number).as<double>();
}

std::string Player::over(const std::vector<double>& times, const std::string& key)
{
    std::string all;
    for (const double time : times) {
        frame(time);
        all += (all.empty() ? "" : " ") + out(key);
    }
    return all;
}

std::string Player::after(int frames, const std::string& key)
{
    std::string last;
    for (int k = 0; k < frames; ++k)
        last = over({double(k)}, key);
    return last;
}

std::string shown(const PortValue& value)
{
    const auto decimal = [](double number) {
        char text[64];
        std::snprintf(text, sizeof text, "%.6g", number == 0 ? 0.0 : number);
        return std::string(text);
    };
    if (const auto* flag = value.as<bool>())
        return *flag ? "true" : "false";
    if (const auto* index = value.as<std::uint32_t>())
        return std::to_string(*index);
    if (const auto* number = value.as<double>())
        return decimal(*number);
    if (const auto* text = value.as<std::string>())
        return "'" + *text + "'";
    if (const auto* c = value.as<NSColor>())
        return "rgba(" + decimal(c->red) + ", " + decimal(c->green) + ", " + decimal(c->blue) + ", " + decimal(c->alpha)
            + ")";
    if (const auto* image = value.as<ImageRef>()) {
        if (!*image)
            return "null";
        const Extent& e = (*image)->extent();
        return e.infinite ? "image everywhere" : "image " + decimal(e.width) + "x" + decimal(e.height);
    }
    const auto* structure = value.as<StructureRef>();
    if (!structure || !*structure)
        return "null";
    std::string members;
    for (const auto& member : (*structure)->members)
        members += (members.empty() ? "" : ", ") + ((*structure)->keyed ? member.key + ": " : "") + shown(member.value);
    return (*structure)->keyed ? "{" + members + "}" : "[" + members + "]";
}

std::string evaluated(std::string_view text, const std::vector<double>& times)
{
    return Player(text).over(times);
}

std::string onePatch(std::string_view patch, std::string_view port)
{
    return "{outputs: {out: 'p." + std::string(port) + "'}, patches: {p: " + std::string(patch) + "}}";
}

std::string repeated(int from, int to, std::string_view text)
{
    std::string all;
    for (int k = from; k < to; ++k) {
        std::string one(text);
        for (const auto& [mark, number] : {std::pair("{k}", k), {"{k-1}", k - 1}}) {
            for (std::size_t at = one.find(mark); at != std::string::npos; at = one.find(mark))
                one.replace(at, std::strlen(mark), std::to_string(number));
        }
        all += (k > from ? ", " : "") + one;
    }
    return all;
}

void expectAll(std::initializer_list<Row> rows)
{
    for (const auto& [patch, port, result, times, why] : rows)
        EXPECT_EQ(Player(onePatch(patch, port)).over(times), result) << patch << " " << port << " " << why;
}

} // namespace vitrel::qc
