#include "saver/InputTrace.h"

#include "base/Text.h"
#include "platform/appkit/NSImage.h"

#include <cmath>

#include <nlohmann/json.hpp>

namespace vitrel {
namespace {

nlohmann::ordered_json jsonOf(const Value& value, TracePictures* pictures)
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
        Json out;
        if (representations.empty())
            out["image"] = {image->size().width, image->size().height};
        else
            out["image"] = {representations.front().pixelsWide(), representations.front().pixelsHigh()};
        if (const std::string hash = pictures ? pictures->keep(image) : ""; !hash.empty())
            out["hash"] = hash;
        return out;
    }
    if (const auto* members = value.array()) {
        Json out = Json::array();
        for (const Value& member : *members)
            out.push_back(jsonOf(member, pictures));
        return out;
    }
    if (const auto* members = value.dictionary()) {
        Json out = Json::object();
        for (const auto& [key, member] : *members)
            out[repairedUtf8(key)] = jsonOf(member, pictures);
        return out;
    }
    if (value.isNothing())
        return nullptr;
    return description(value);
}

} // namespace

InputTrace::InputTrace(const Clock& clock, Sink sink, TracePictures* pictures)
    : clock_(clock)
    , start_(clock.now())
    , date_(clock.date())
    , sink_(std::move(sink))
    , pictures_(pictures)
{ }

void InputTrace::beginAnew(bool runs)
{
    start_ = clock_.now();
    date_ = clock_.date();
    stands_ = !runs;
}

void InputTrace::run()
{
    stands_ = false;
}

double InputTrace::time() const
{
    return stands_ ? 0.0 : (clock_.now() - start_).count();
}

std::string InputTrace::jsonText(const Value& value, TracePictures* pictures)
{
    return jsonOf(value, pictures).dump();
}

void InputTrace::write(int view, nlohmann::ordered_json members)
{
    nlohmann::ordered_json line{{"t", time()}, {"view", view}};
    line.update(members);
    if (begun_.insert(view).second)
        line["date"] = date_.secondsSince1970;
    sink_(line.dump() + "\n");
}

VitrelView::InputObserver InputTrace::observerForView(int number)
{
    return [this, number](const Value& value, const std::string& key) {
        write(number, {{"key", repairedUtf8(key)}, {"value", jsonOf(value, pictures_)}});
    };
}

VitrelView::SoundObserver InputTrace::soundObserverForView(int number)
{
    return [this, number](const SoundHeard& heard) {
        nlohmann::ordered_json sound{{"peak", heard.peak}, {"spectrum", heard.spectrum}};
        if (heard.beats > 0)
            sound["beats"] = heard.beats;
        write(number, {{"sound", sound}});
    };
}

} // namespace vitrel
