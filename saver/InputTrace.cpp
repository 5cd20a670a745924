#include "saver/InputTrace.h"

#include "base/Text.h"
#include "platform/appkit/NSImage.h"

#include <cmath>

#include <nlohmann/json.hpp>

namespace vitrel {
namespace {

nlohmann::ordered_json jsonOf(const Value& value)
{
    using Json = nlohmann::ordered_json;
    if (const auto* flag = value.as<bool>())
        return *flag;
    if (const auto* integer = value.as<std::int64_t>())
        return *integer;
    if (const auto* number = value.as<double>())
        return std::isfinite(*number) ? Json(*number) : Json(nullptr);
    if (const auto* text = value.as<std::string>())
        return repairedUtf8(*text);
    if (const auto* date = value.as<Date>())
        return date->secondsSince1970;
    if (const auto* color = value.as<NSColor>())
        return Json::array({color->red, color->green, color->blue, color->alpha});
    if (const auto image = value.image()) {
        const auto& representations = image->representations();
        if (representations.empty())
            return {{"image", {image->size().width, image->size().height}}};
        return {{"image", {representations.front().pixelsWide(), representations.front().pixelsHigh()}}};
    }
    if (const auto* members = value.array()) {
        Json out = Json::array();
        for (const Value& member : *members)
            out.push_back(jsonOf(member));
        return out;
    }
    if (const auto* members = value.dictionary()) {
        Json out = Json::object();
        for (const auto& [key, member] : *members)
            out[repairedUtf8(key)] = jsonOf(member);
        return out;
    }
    if (value.isNothing())
        return nullptr;
    return description(value);
}

} // namespace

InputTrace::InputTrace(const Clock& clock, Sink sink)
    : clock_(clock)
    , start_(clock.now())
    , sink_(std::move(sink))
{ }

std::string InputTrace::jsonText(const Value& value)
{
    return jsonOf(value).dump();
}

VitrelView::InputObserver InputTrace::observerForView(int number)
{
    return [this, number](const Value& value, const std::string& key) {
        nlohmann::ordered_json line;
        line["t"] = (clock_.now() - start_).count();
        line["view"] = number;
        line["key"] = repairedUtf8(key);
        line["value"] = jsonOf(value);
        sink_(line.dump() + "\n");
    };
}

VitrelView::SoundObserver InputTrace::soundObserverForView(int number)
{
    return [this, number](const SoundHeard& heard) {
        nlohmann::ordered_json line;
        line["t"] = (clock_.now() - start_).count();
        line["view"] = number;
        line["sound"] = {{"peak", heard.peak}, {"spectrum", heard.spectrum}};
        sink_(line.dump() + "\n");
    };
}

} // namespace vitrel
