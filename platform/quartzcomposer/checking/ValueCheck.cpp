#include "platform/quartzcomposer/checking/ValueCheck.h"

#include "base/Text.h"
#include "platform/quartzcomposer/checking/Diagnostic.h"
#include "platform/quartzcomposer/checking/NearestName.h"
#include "platform/quartzcomposer/file/TextValues.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace vitrel::qc {

namespace {

using Kind = TextNode::Kind;

bool isFlag(const TextNode& value)
{
    return value.is(Kind::Boolean) || (value.is(Kind::Number) && (value.number == 0 || value.number == 1));
}

bool isNumber(const TextNode& value)
{
    return value.is(Kind::Number) || value.is(Kind::Boolean) || specialKind(value) == "real";
}

bool isText(const TextNode& value)
{
    const std::string kind = specialKind(value);
    return value.is(Kind::String) || kind == "lines" || kind == "text";
}

bool isColor(const TextNode& value)
{
    if (value.is(Kind::String))
        return colorFromHex(value.text).has_value();
    const auto isPart = [&](const char* key) { return value.member(key) && isNumber(*value.member(key)); };
    return value.is(Kind::Object) && isPart("red") && isPart("green") && isPart("blue");
}

std::string inWords(const TextNode& value)
{
    switch (value.kind) {
    case Kind::Null:
        return "null";
    case Kind::Boolean:
        return value.number != 0 ? "true" : "false";
    case Kind::Number:
        return "a number";
    case Kind::String:
        return "the text " + quoted(value.text);
    case Kind::Array:
        return "a list";
    case Kind::Object:
        break;
    }
    const std::string kind = specialKind(value);
    return kind == "image" || kind == "data" ? "an image"
        : kind == "lines" || kind == "text"  ? "a text"
        : kind == "date"                     ? "a date"
                                             : "an object";
}

} // namespace

std::string specialKind(const TextNode& value)
{
    static const std::array kinds{"image", "data", "date", "text", "lines", "real", "dictionary"};
    const bool isOne = value.is(Kind::Object) && value.children.size() == 1
        && std::find(kinds.begin(), kinds.end(), value.children.front().key) != kinds.end();
    return isOne ? value.children.front().key : std::string();
}

std::string faultOfSpecial(const TextNode& value)
{
    const std::string kind = specialKind(value);
    if (kind.empty())
        return "";
    const TextNode& content = value.children.front();
    const auto isLine = [](const TextNode& line) { return line.is(Kind::String); };
    if (kind == "lines")
        return content.is(Kind::Array) && std::all_of(content.children.begin(), content.children.end(), isLine)
            ? ""
            : "\"lines\" is a list of texts";
    if (kind == "date")
        return content.is(Kind::Number) ? "" : "\"date\" is a number of seconds";
    if (kind == "dictionary")
        return content.is(Kind::Object) ? "" : "\"dictionary\" is an object";
    if (!content.is(Kind::String))
        return quoted(kind) + " is a text";
    const bool isReal = content.text == "nan" || content.text == "inf" || content.text == "-inf";
    return kind != "real" || isReal ? "" : R"("real" is "nan", "inf" or "-inf")";
}

std::string faultOfValue(const TextNode& value, PortType type)
{
    const auto wants = [&](const char* what) { return std::string(what) + " is wanted, not " + inWords(value); };
    const std::string kind = specialKind(value);
    switch (type) {
    case PortType::Boolean:
        return isFlag(value) ? "" : wants("true or false");
    case PortType::Index: {
        constexpr double kMost = 4294967295;
        const bool fits = value.is(Kind::Number) && value.number >= 0 && value.number <= kMost
            && value.number == std::floor(value.number);
        return fits || value.is(Kind::Boolean) ? ""
            : value.is(Kind::Number) ? "a whole number from 0 on is wanted, not " + shortestDecimal(value.number)
                                     : wants("a whole number from 0 on");
    }
    case PortType::Number:
        return isNumber(value) ? "" : wants("a number");
    case PortType::String:
        return isText(value) || value.is(Kind::Number) ? "" : wants("a text");
    case PortType::Color:
        return isColor(value)        ? ""
            : value.is(Kind::String) ? quoted(value.text) + " is no colour; one reads \"#rrggbb\" or \"#rrggbbaa\""
                                     : wants("a colour (\"#rrggbbaa\")");
    case PortType::Image:
        return kind == "image" || kind == "data" ? "" : wants("an image ({\"image\": \"file beside the text\"})");
    case PortType::Structure:
        return value.is(Kind::Array) || (value.is(Kind::Object) && (kind.empty() || kind == "dictionary"))
            ? ""
            : wants("a list or an object");
    case PortType::Mesh:
    case PortType::Interaction:
        return "it takes no value; connect it";
    case PortType::Virtual:
        break;
    }
    return value.is(Kind::Null) ? "null is no value" : "";
}

std::string faultOfSetting(const TextNode& value, const DescribedSetting& setting)
{
    const auto wants = [&](const char* what) { return std::string(what) + " is wanted, not " + inWords(value); };
    switch (setting.kind) {
    case DescribedSetting::Number:
        return isNumber(value) ? "" : wants("a number");
    case DescribedSetting::Flag:
        return isFlag(value) ? "" : wants("true or false");
    case DescribedSetting::List:
        return value.is(Kind::Array) ? "" : wants("a list");
    case DescribedSetting::Table:
        return value.is(Kind::Object) && (specialKind(value).empty() || specialKind(value) == "dictionary")
            ? ""
            : wants("an object");
    case DescribedSetting::Any:
        return value.is(Kind::Null) ? "null is no value" : "";
    case DescribedSetting::Text:
        break;
    }
    if (!isText(value))
        return wants("a text");
    const auto& words = setting.words;
    if (words.empty() || !value.is(Kind::String)
        || std::any_of(words.begin(), words.end(), [&](const char* word) { return value.text == word; }))
        return "";
    std::string list;
    for (const char* word : words)
        list += (list.empty() ? "" : ", ") + quoted(word);
    return quoted(value.text) + " is none of " + list
        + nearestHint(value.text, std::vector<std::string>(words.begin(), words.end()));
}

std::string rangeInWords(const Measure& measure)
{
    if (!measure.labels.empty()) {
        std::string list;
        for (std::size_t k = 0; k < measure.labels.size(); ++k)
            list += (k ? ", " : "") + std::to_string(k) + " " + measure.labels[k];
        return list;
    }
    const bool hasLeast = std::isfinite(measure.least), hasMost = std::isfinite(measure.most);
    return hasLeast && hasMost ? shortestDecimal(measure.least) + " to " + shortestDecimal(measure.most)
        : hasLeast             ? "at least " + shortestDecimal(measure.least)
        : hasMost              ? "at most " + shortestDecimal(measure.most)
                               : "";
}

std::string doubtOfValue(const TextNode& value, const Measure& measure)
{
    if (!value.is(Kind::Number))
        return "";
    if (!measure.labels.empty())
        return value.number < static_cast<double>(measure.labels.size())
            ? ""
            : shortestDecimal(value.number) + " is none of the choices: " + rangeInWords(measure);
    return value.number >= measure.least && value.number <= measure.most
        ? ""
        : shortestDecimal(value.number) + " is out of range: " + rangeInWords(measure);
}

nlohmann::ordered_json jsonOf(const TextNode& node)
{
    using Json = nlohmann::ordered_json;
    switch (node.kind) {
    case Kind::Null:
        return nullptr;
    case Kind::Boolean:
        return node.number != 0;
    case Kind::Number: {
        constexpr double kWhole = 9007199254740992; // beyond, doubles have no neighbours
        if (node.isWhole && std::fabs(node.number) <= kWhole)
            return static_cast<std::int64_t>(node.number);
        return node.number;
    }
    case Kind::String:
        return node.text;
    case Kind::Array: {
        Json list = Json::array();
        for (const TextNode& child : node.children)
            list.push_back(jsonOf(child));
        return list;
    }
    case Kind::Object:
        break;
    }
    Json object = Json::object();
    for (const TextNode& child : node.children)
        append(object, child.key, jsonOf(child));
    return object;
}

} // namespace vitrel::qc
