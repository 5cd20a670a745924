#include "platform/quartzcomposer/file/TextOptions.h"

#include <algorithm>
#include <cmath>

namespace vitrel::qc {

namespace {

using Json = nlohmann::ordered_json;

constexpr OptionMember kMembers[] = {
    {OptionMember::Text, "title", "name", "What it is called where people set it"},
    {OptionMember::Text, "meaning", "description", "What it does, in a sentence"},
    {OptionMember::Text, "unit", "units", "The unit of its number"},
    {OptionMember::Number, "min", "CIAttributeSliderMin", "The least that has a meaning"},
    {OptionMember::Number, "max", "CIAttributeSliderMax", "The most that has a meaning"},
    {OptionMember::Texts, "labels", "menu", "The choices of an index, from 0 on; \"-\" is a line between groups"},
};

bool isOf(OptionMember::Kind kind, const Value& value)
{
    switch (kind) {
    case OptionMember::Text:
        return value.as<std::string>() != nullptr;
    case OptionMember::Number:
        return value.as<std::int64_t>() || (value.as<double>() && std::isfinite(*value.as<double>()));
    case OptionMember::Texts:
        break;
    }
    const Array* texts = value.array();
    return texts && std::all_of(texts->begin(), texts->end(), [](const Value& v) { return v.as<std::string>(); });
}

const OptionMember* ofAttribute(std::string_view attribute)
{
    const auto found = std::find_if(
        std::begin(kMembers), std::end(kMembers), [&](const OptionMember& one) { return attribute == one.attribute; });
    return found == std::end(kMembers) ? nullptr : found;
}

bool hasWordsForAll(const Dictionary& attributes)
{
    return std::all_of(attributes.begin(), attributes.end(), [](const auto& entry) {
        const OptionMember* member = ofAttribute(entry.first);
        return member && isOf(member->kind, entry.second);
    });
}

// Texts as they are: what looks like a colour is a word here.
Json plainJson(const Value& value, TextBudget& budget)
{
    if (const auto* text = value.as<std::string>()) {
        budget.spend(text->size());
        return budget.spent() ? Json() : Json(jsonText(*text));
    }
    if (!value.array())
        return valueJson(value, budget);
    Json texts = Json::array();
    for (const Value& text : *value.array())
        texts.push_back(plainJson(text, budget));
    return texts;
}

std::optional<Value> plainValue(OptionMember::Kind kind, const Json& json)
{
    if (kind == OptionMember::Number)
        return json.is_number() ? std::optional(ValueReader({}).value(json)) : std::nullopt;
    if (kind == OptionMember::Text)
        return json.is_string() ? std::optional(Value(json.get<std::string>())) : std::nullopt;
    Array texts;
    for (const Json& text : json) {
        if (!json.is_array() || !text.is_string())
            return std::nullopt;
        texts.emplace_back(text.get<std::string>());
    }
    return json.is_array() ? std::optional(Value(texts)) : std::nullopt;
}

} // namespace

std::span<const OptionMember> optionMembers()
{
    return kMembers;
}

const OptionMember* optionMember(std::string_view key)
{
    const auto found = std::find_if(
        std::begin(kMembers), std::end(kMembers), [&](const OptionMember& one) { return key == one.key; });
    return found == std::end(kMembers) ? nullptr : found;
}

Json optionsJson(const Dictionary& attributes, Json& rest, TextBudget& budget)
{
    Json options = Json::object();
    for (const auto& [key, value] : attributes) {
        budget.spend(key.size());
        if (budget.spent())
            break;
        const Dictionary* own = value.dictionary();
        if (!own || !hasWordsForAll(*own)) {
            append(rest, jsonText(key), valueJson(value, budget));
            continue;
        }
        Json option = Json::object();
        for (const OptionMember& one : kMembers) {
            if (const Value* of = member(*own, one.attribute))
                option[one.key] = plainJson(*of, budget);
        }
        append(options, jsonText(key), std::move(option));
    }
    return options;
}

bool takeOptions(Dictionary& attributes, const Json& options, std::string& problem)
{
    const auto fail = [&](const std::string& what) {
        problem = what;
        return false;
    };
    if (!options.is_object())
        return fail("\"options\" is an object of what published inputs are called");
    for (const auto& [key, option] : options.items()) {
        const auto there = attributes.find(key);
        Dictionary own
            = there != attributes.end() && there->second.dictionary() ? *there->second.dictionary() : Dictionary();
        if (!option.is_object())
            return fail("option \"" + key + "\" is no object");
        for (const auto& [name, json] : option.items()) {
            const OptionMember* known = optionMember(name);
            auto value = known ? plainValue(known->kind, json) : std::nullopt;
            if (!value)
                return fail("option \"" + key + "\": \"" + name + "\" "
                    + (known ? "has a value of another kind" : "is nothing that an option has"));
            own.insert_or_assign(known->attribute, std::move(*value));
        }
        attributes.insert_or_assign(key, own);
    }
    return true;
}

} // namespace vitrel::qc
