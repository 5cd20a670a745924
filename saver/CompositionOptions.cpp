#include "saver/CompositionOptions.h"

#include "feedinput/FeedInput.h"
#include "platform/quartzcomposer/QCView.h"
#include "platform/quartzcomposer/file/TextValues.h"
#include "saver/EveningCovers.h"
#include "saver/InputKeys.h"
#include "saver/VisualizerInputs.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace vitrel {
namespace {

using qc::InputDescription;
using qc::PortType;

// Texts of settings; what is longer wasn't typed.
constexpr std::size_t kLongestText = 64 * 1024;
constexpr double kMostIndex = 4294967295;

std::optional<double> numberOf(const Value& given)
{
    auto number = given.number();
    if (const auto* text = given.as<std::string>(); text && !text->empty()) {
        char* end = nullptr;
        const double read = std::strtod(text->c_str(), &end);
        if (*end == 0)
            number = read;
    }
    return number && std::isfinite(*number) ? number : std::nullopt;
}

double inRange(const InputDescription& input, double number)
{
    return std::clamp(number, std::min(input.least, input.most), std::max(input.least, input.most));
}

std::optional<Value> indexOf(const InputDescription& input, const Value& given)
{
    if (const auto* text = given.as<std::string>()) {
        const auto label = std::find(input.labels.begin(), input.labels.end(), *text);
        if (label != input.labels.end())
            return Value(static_cast<std::int64_t>(label - input.labels.begin()));
    }
    const auto number = numberOf(given);
    if (!number || *number != std::floor(*number))
        return std::nullopt;
    const double most = input.labels.empty() ? kMostIndex : static_cast<double>(input.labels.size() - 1);
    return Value(static_cast<std::int64_t>(std::clamp(std::floor(inRange(input, *number)), 0.0, most)));
}

std::optional<Value> flagOf(const Value& given)
{
    if (const auto* text = given.as<std::string>(); text && (*text == "true" || *text == "false"))
        return Value(*text == "true");
    const auto number = numberOf(given);
    return number == 0.0 || number == 1.0 ? std::optional(Value(*number != 0)) : std::nullopt;
}

std::optional<Value> textOf(const Value& given)
{
    if (!given.as<std::string>() && !given.number())
        return std::nullopt;
    std::string text = description(given);
    return text.size() <= kLongestText ? std::optional(Value(std::move(text))) : std::nullopt;
}

std::optional<Value> colorOf(const Value& given)
{
    if (given.as<NSColor>())
        return given;
    if (const auto* text = given.as<std::string>()) {
        const auto color = qc::colorFromHex(*text);
        return color ? std::optional(Value(*color)) : std::nullopt;
    }
    const Array* array = given.array();
    const Dictionary* dictionary = given.dictionary();
    double parts[4] = {0, 0, 0, 1};
    constexpr const char* kNames[] = {"red", "green", "blue", "alpha"};
    for (std::size_t k = 0; k < 4; ++k) {
        const Value* part = array && k < array->size() ? &(*array)[k]
            : dictionary                               ? member(*dictionary, kNames[k])
                                                       : nullptr;
        const auto number = part ? part->number() : std::nullopt;
        if ((!number || !std::isfinite(*number)) && (k < 3 || part))
            return std::nullopt;
        parts[k] = std::clamp(number.value_or(1), 0.0, 1.0);
    }
    if (array && array->size() > 4)
        return std::nullopt;
    return Value(NSColor{parts[0], parts[1], parts[2], parts[3]});
}

} // namespace

bool isFedInput(std::string_view key)
{
    const auto isKey = [&](const char* known) { return key == known; };
    return std::any_of(std::begin(kTrackInputKeys), std::end(kTrackInputKeys), isKey) || key == kRequiresSquareImage
        || key == kFeedInputKey || key == kFeedCountInputKey || key == kFeedEntriesInputKey
        || key == EveningCovers::kInput
        || std::any_of(std::begin(kVisualizerInputs), std::end(kVisualizerInputs),
            [&](const char* name) { return isProtocolInput(key, name); });
}

bool isOption(const InputDescription& input)
{
    switch (input.type) {
    case PortType::Boolean:
    case PortType::Index:
    case PortType::Number:
    case PortType::String:
    case PortType::Color:
        return !isFedInput(input.key);
    default:
        return false;
    }
}

std::optional<Value> optionValue(const InputDescription& input, const Value& given)
{
    switch (input.type) {
    case PortType::Boolean:
        return flagOf(given);
    case PortType::Index:
        return indexOf(input, given);
    case PortType::Number:
        if (const auto number = numberOf(given))
            return Value(inRange(input, *number));
        return std::nullopt;
    case PortType::String:
        return textOf(given);
    case PortType::Color:
        return colorOf(given);
    default:
        return std::nullopt;
    }
}

Value storedOption(const Value& value)
{
    const auto* color = value.as<NSColor>();
    return color ? Value(Array{color->red, color->green, color->blue, color->alpha}) : value;
}

PlayedOptions::PlayedOptions(QCView& view, const std::vector<InputDescription>& inputs)
    : view_(&view)
{
    for (const InputDescription& input : inputs) {
        if (isOption(input) && own_.emplace(input.key, view.valueForInputKey(input.key)).second)
            inputs_.push_back(input);
    }
}

void PlayedOptions::apply(const Dictionary& stored, const Observer& observer)
{
    for (const InputDescription& input : inputs_) {
        const auto own = own_.find(input.key);
        if (own == own_.end())
            continue;
        const Value* given = member(stored, input.key);
        const auto value = given ? optionValue(input, *given) : std::nullopt;
        const Value* before = member(applied_, input.key);
        if (value ? before && *before == *value : !before)
            continue;
        const Value& written = value ? *value : own->second;
        if (view_->setValueForInputKey(written, input.key) && observer)
            observer(written, input.key);
        if (value)
            applied_.insert_or_assign(input.key, *value);
        else
            applied_.erase(input.key);
    }
}

void PlayedOptions::leave(const std::string& key)
{
    own_.erase(key);
}

Value PlayedOptions::ownValue(const std::string& key) const
{
    const Value* own = member(own_, key);
    return own ? *own : Value();
}

} // namespace vitrel
