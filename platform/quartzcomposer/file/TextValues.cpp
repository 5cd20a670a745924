#include "platform/quartzcomposer/file/TextValues.h"

#include "base/Text.h"
#include "platform/foundation/Files.h"

#include <array>
#include <cerrno>
#include <cmath>
#include <optional>

namespace vitrel::qc {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kMaxFiles = 64u << 20; // of all files that one text names
constexpr std::array<std::string_view, 7> kSpecial{"image", "data", "date", "text", "lines", "real", "dictionary"};

bool isSpecial(std::string_view key)
{
    for (const std::string_view special : kSpecial) {
        if (key == special)
            return true;
    }
    return false;
}

// Only if the short form reads back as the same colour.
std::optional<std::string> colorText(const Dictionary& members)
{
    if (members.size() != 4)
        return std::nullopt;
    std::string text = "#";
    for (const char* key : {"red", "green", "blue", "alpha"}) {
        const auto found = members.find(std::string_view(key));
        const auto* part = found == members.end() ? nullptr : found->second.as<double>();
        if (!part || !(*part >= 0 && *part <= 1) || std::round(*part * 255) / 255 != *part)
            return std::nullopt;
        constexpr char digits[] = "0123456789abcdef";
        const auto byte = static_cast<unsigned>(std::lround(*part * 255));
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

Json linesOf(const std::string& text)
{
    Json lines = Json::array();
    for (std::size_t from = 0;;) {
        const auto end = text.find('\n', from);
        lines.push_back(text.substr(from, end == std::string::npos ? end : end - from));
        if (end == std::string::npos)
            return lines;
        from = end + 1;
    }
}

} // namespace

int hexDigit(char c)
{
    return c >= '0' && c <= '9' ? c - '0'
        : c >= 'a' && c <= 'f'  ? c - 'a' + 10
        : c >= 'A' && c <= 'F'  ? c - 'A' + 10
                                : -1;
}

std::optional<NSColor> colorFromHex(const std::string& text)
{
    if ((text.size() != 7 && text.size() != 9) || text[0] != '#')
        return std::nullopt;
    std::array<double, 4> parts{0, 0, 0, 1};
    for (std::size_t k = 1; k < text.size(); k += 2) {
        const int high = hexDigit(text[k]), low = hexDigit(text[k + 1]);
        if (high < 0 || low < 0)
            return std::nullopt;
        parts[k / 2] = (high * 16 + low) / 255.0;
    }
    return NSColor{parts[0], parts[1], parts[2], parts[3]};
}

std::string jsonText(const std::string& text)
{
    return repairedUtf8(text);
}

std::string shownText(const std::string& text, std::size_t characters)
{
    std::string shown = repairedUtf8(text);
    std::size_t seen = 0;
    for (std::size_t at = 0; at < shown.size(); ++at) {
        const auto byte = static_cast<unsigned char>(shown[at]);
        if (byte < 0x20 || byte == 0x7F)
            shown[at] = ' ';
        if ((byte & 0xC0) != 0x80 && ++seen > characters)
            return shown.substr(0, at) + "\u2026";
    }
    return shown;
}

Json valueJson(const Value& value, TextBudget& budget)
{
    constexpr int kMaxDepth = 512;
    const auto* ownText = value.as<std::string>();
    budget.spend(ownText ? ownText->size() : value.bytes() ? value.bytes()->size() * 2 : 16);
    if (budget.spent() || budget.depth > kMaxDepth)
        return nullptr;
    if (const auto* flag = value.as<bool>())
        return *flag;
    if (const auto* integer = value.as<std::int64_t>())
        return *integer;
    if (const auto* number = value.as<double>()) {
        if (std::isfinite(*number))
            return *number;
        return Json{{"real", std::isnan(*number) ? "nan" : *number > 0 ? "inf" : "-inf"}};
    }
    if (const auto* text = value.as<std::string>()) {
        if (colorFromHex(*text))
            return Json{{"text", *text}};
        if (text->find('\n') != std::string::npos)
            return Json{{"lines", linesOf(jsonText(*text))}};
        return jsonText(*text);
    }
    if (const auto* date = value.as<Date>())
        return Json{{"date", date->timeIntervalSinceReferenceDate()}};
    if (const auto* bytes = value.bytes())
        return Json{{"data", encodeBase64(*bytes)}};
    if (const auto* members = value.array()) {
        Json json = Json::array();
        ++budget.depth;
        for (const Value& member : *members) {
            if (budget.spent())
                break;
            json.push_back(valueJson(member, budget));
        }
        --budget.depth;
        return json;
    }
    const auto* members = value.dictionary();
    if (!members)
        return nullptr;
    if (const auto color = colorText(*members))
        return *color;
    Json json = Json::object();
    ++budget.depth;
    for (const auto& [key, member] : *members) {
        budget.spend(key.size());
        if (budget.spent())
            break;
        append(json, jsonText(key), valueJson(member, budget));
    }
    --budget.depth;
    if (json.size() == 1 && isSpecial(json.begin().key()))
        return Json{{"dictionary", json}};
    return json;
}

Value ValueReader::value(const Json& json)
{
    if (json.is_boolean())
        return json.get<bool>();
    if (json.is_number_unsigned() && json.get<std::uint64_t>() > INT64_MAX)
        return json.get<double>();
    if (json.is_number_integer())
        return json.get<std::int64_t>();
    if (json.is_number())
        return json.get<double>();
    if (json.is_string()) {
        const std::string text = json.get<std::string>();
        if (const auto c = colorFromHex(text))
            return Dictionary{{"red", c->red}, {"green", c->green}, {"blue", c->blue}, {"alpha", c->alpha}};
        return text;
    }
    if (json.is_array()) {
        Array members;
        for (const Json& member : json)
            members.push_back(value(member));
        return members;
    }
    if (json.is_object() && json.size() == 1 && isSpecial(json.begin().key()))
        return special(json.begin().key(), json.begin().value());
    return json.is_object() ? Value(dictionary(json)) : Value();
}

Value ValueReader::special(const std::string& kind, const Json& json)
{
    if (kind == "dictionary")
        return dictionary(json);
    if (kind == "date" && json.is_number())
        return Date::fromReferenceDate(json.get<double>());
    if (kind == "lines") {
        std::string joined;
        for (std::size_t k = 0; json.is_array() && k < json.size(); ++k)
            joined += (k ? "\n" : "") + (json[k].is_string() ? json[k].get<std::string>() : std::string());
        return joined;
    }
    const std::string text = json.is_string() ? json.get<std::string>() : "";
    if (kind == "text")
        return text;
    if (kind == "real")
        return text == "inf" ? HUGE_VAL : text == "-inf" ? -HUGE_VAL : std::nan("");
    if (kind == "data") {
        if (auto bytes = decodeBase64(text))
            return std::move(*bytes);
        if (problem_.empty())
            problem_ = "\"data\" is no base64";
        return {};
    }
    auto bytes = readFileBeneath(folder_, text, kMaxFiles - read_);
    if (bytes && isPicture(*bytes)) {
        read_ += bytes->size();
        return *std::move(bytes);
    }
    if (problem_.empty()) {
        const char* const why = bytes ? "is no picture"
            : bytes.error() == EXDEV  ? "lies neither beside the text nor beneath, or behind a link"
                                      : "can't be read";
        problem_ = "the image file \"" + text + "\" " + why;
    }
    return {};
}

Dictionary ValueReader::dictionary(const Json& json)
{
    Dictionary members;
    if (json.is_object()) {
        for (const auto& [key, member] : json.items())
            members.insert_or_assign(key, value(member));
    }
    return members;
}

void append(Json& object, std::string key, Json value)
{
    if (!object.is_object())
        object = Json::object();
    object.get_ref<Json::object_t&>().Json::object_t::Container::emplace_back(std::move(key), std::move(value));
}

bool isShapedForParsing(std::string_view json, int depth, std::size_t members)
{
    std::vector<std::pair<char, std::size_t>> open; // brackets, and the commas in them
    bool inString = false;
    for (std::size_t at = 0; at < json.size(); ++at) {
        const char c = json[at];
        if (inString) {
            at += c == '\\';
            inString = c != '"';
        } else if (c == '"') {
            inString = true;
        } else if (c == '{' || c == '[') {
            open.emplace_back(c, 0);
            if (open.size() > static_cast<std::size_t>(depth))
                return false;
        } else if (c == '}' || c == ']') {
            if (!open.empty())
                open.pop_back();
        } else if (c == ',' && !open.empty() && open.back().first == '{') {
            if (++open.back().second >= members)
                return false;
        }
    }
    return true;
}

} // namespace vitrel::qc
