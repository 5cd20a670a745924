#include "programs/vitrel/ValueJson.h"

#include "base/Text.h"
#include "platform/quartzcomposer/file/TextValues.h"

#include <cmath>

namespace vitrel {

namespace {

using Json = nlohmann::ordered_json;

Json numberJson(double number)
{
    return std::isfinite(number) ? Json(number) : Json(nullptr);
}

Json json(const qc::PortValue& value, int depth)
{
    constexpr int kMaxDepth = 64;
    if (const auto* flag = value.as<bool>())
        return *flag;
    if (const auto* index = value.as<std::uint32_t>())
        return *index;
    if (const auto* number = value.as<double>())
        return numberJson(*number);
    if (const auto* text = value.as<std::string>())
        return repairedUtf8(*text);
    if (const auto* c = value.as<NSColor>())
        return Json::array({numberJson(c->red), numberJson(c->green), numberJson(c->blue), numberJson(c->alpha)});
    if (const auto* image = value.as<qc::ImageRef>()) {
        if (!*image)
            return nullptr;
        const auto side = [&](double pixels) { return (*image)->extent().infinite ? 0 : std::llround(pixels); };
        return Json{{"image", {side((*image)->extent().width), side((*image)->extent().height)}}};
    }
    const auto* structure = value.as<qc::StructureRef>();
    if (!structure || !*structure || depth > kMaxDepth)
        return nullptr;
    Json out = (*structure)->keyed ? Json::object() : Json::array();
    for (const auto& member : (*structure)->members) {
        if ((*structure)->keyed)
            out[repairedUtf8(member.key)] = json(member.value, depth + 1);
        else
            out.push_back(json(member.value, depth + 1));
    }
    return out;
}

} // namespace

Json valueJson(const qc::PortValue& value)
{
    return json(value, 0);
}

Value valueFromArgument(const std::string& text)
{
    const Json parsed = qc::nestsAtMost(text, 64) ? Json::parse(text, nullptr, false) : Json(Json::value_t::discarded);
    if (parsed.is_discarded())
        return repairedUtf8(text);
    if (parsed.is_string())
        return parsed.get<std::string>();
    return qc::ValueReader("").value(parsed);
}

std::optional<InputArgument> inputArgument(const std::string& text)
{
    const auto equals = text.find('=');
    if (equals == std::string::npos || equals == 0)
        return std::nullopt;
    return InputArgument{text.substr(0, equals), valueFromArgument(text.substr(equals + 1))};
}

} // namespace vitrel
