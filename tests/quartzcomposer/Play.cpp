#include "quartzcomposer/Play.h"

#include "platform/quartzcomposer/file/TextForm.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace vitrel::qc {

const PatchRegistry& registry()
{
    static const auto* const all = new PatchRegistry(allPatches());
    return *all;
}

CompositionFile fileOf(std::string_view text)
{
    const auto list = compositionFromText(text, "");
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

std::string Player::over(std::initializer_list<double> times, const std::string& key)
{
    std::string all;
    for (const double time : times) {
        frame(time);
        all += (all.empty() ? "" : " ") + out(key);
    }
    return all;
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

std::string evaluated(std::string_view text, std::initializer_list<double> times)
{
    return Player(text).over(times);
}

std::string onePatch(std::string_view members, std::string_view port)
{
    return R"({"outputs": {"out": "p.)" + std::string(port) + R"("}, "patches": {"p": {)" + std::string(members)
        + "}}}";
}

} // namespace vitrel::qc
