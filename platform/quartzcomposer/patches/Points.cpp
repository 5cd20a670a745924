#include "platform/quartzcomposer/patches/Points.h"

#include "base/Text.h"

#include <algorithm>

namespace vitrel::qc {

std::optional<double> memberNumber(const Structure& of, const char* key, std::size_t position)
{
    const PortValue* found = nullptr;
    if (!of.keyed) {
        found = of.atIndex(position);
    } else {
        found = of.atKey(key);
        found = found ? found : of.atKey(asciiLowercase(key));
        found = found ? found : of.atKey(std::to_string(position));
    }
    if (!found || found->isNothing())
        return std::nullopt;
    const double number = *converted(*found, PortType::Number).as<double>();
    return std::isfinite(number) ? number : 0;
}

std::optional<Vec3> pointOf(const PortValue& value)
{
    const auto* point = value.as<StructureRef>();
    if (!point || !*point)
        return std::nullopt;
    return Vec3{memberNumber(**point, "X", 0).value_or(0), memberNumber(**point, "Y", 1).value_or(0),
        memberNumber(**point, "Z", 2).value_or(0)};
}

std::optional<NSColor> colorOf(const PortValue& value, bool byPosition)
{
    if (const auto* color = value.as<NSColor>())
        return *color;
    const auto* members = value.as<StructureRef>();
    if (!members || !*members)
        return std::nullopt;
    constexpr std::size_t kNowhere = ~std::size_t(0);
    const auto part = [&](const char* key, std::size_t position) {
        return memberNumber(**members, key, byPosition ? position : kNowhere);
    };
    const auto red = part("R", 0);
    if (!red)
        return std::nullopt;
    return NSColor{*red, part("G", 1).value_or(0), part("B", 2).value_or(0), part("A", 3).value_or(1)};
}

std::size_t countOf(const StructureRef& list, std::size_t most)
{
    return list ? std::min(list->members.size(), most) : 0;
}

StructureRef listOf(std::initializer_list<double> numbers)
{
    auto list = std::make_shared<Structure>();
    for (const double number : numbers)
        list->members.push_back({{}, number});
    return list;
}

} // namespace vitrel::qc
