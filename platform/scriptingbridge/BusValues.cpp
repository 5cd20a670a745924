#include "platform/scriptingbridge/BusValues.h"

#include <limits>

#include <sdbus-c++/sdbus-c++.h>

namespace vitrel {
namespace {

// Real metadata has three levels: the properties, the metadata, a list.
constexpr int kMaximumDepth = 8;

Value converted(const sdbus::Variant& variant, int depth);

Dictionary convertedMembers(const std::map<std::string, sdbus::Variant>& members, int depth)
{
    Dictionary out;
    for (const auto& [key, member] : members)
        out[key] = converted(member, depth);
    return out;
}

Value convertedUnguarded(const sdbus::Variant& variant, int depth)
{
    const std::string type = variant.peekValueType();
    if (type == "s")
        return variant.get<std::string>();
    if (type == "o")
        return std::string(variant.get<sdbus::ObjectPath>());
    if (type == "b")
        return variant.get<bool>();
    if (type == "d")
        return variant.get<double>();
    if (type == "x")
        return variant.get<std::int64_t>();
    if (type == "t") {
        constexpr auto most = std::numeric_limits<std::int64_t>::max();
        const auto number = variant.get<std::uint64_t>();
        return number > std::uint64_t(most) ? most : static_cast<std::int64_t>(number);
    }
    if (type == "i")
        return std::int64_t(variant.get<std::int32_t>());
    if (type == "u")
        return std::int64_t(variant.get<std::uint32_t>());
    if (type == "n")
        return std::int64_t(variant.get<std::int16_t>());
    if (type == "q")
        return std::int64_t(variant.get<std::uint16_t>());
    if (type == "y")
        return std::int64_t(variant.get<std::uint8_t>());
    if (type == "as" || type == "ao" || type == "av") {
        Array out;
        if (type == "as") {
            for (const auto& text : variant.get<std::vector<std::string>>())
                out.emplace_back(text);
        } else if (type == "ao") {
            for (const auto& path : variant.get<std::vector<sdbus::ObjectPath>>())
                out.emplace_back(std::string(path));
        } else {
            for (const auto& member : variant.get<std::vector<sdbus::Variant>>())
                out.push_back(converted(member, depth + 1));
        }
        return Value(std::move(out));
    }
    if (type == "a{sv}")
        return Value(convertedMembers(variant.get<std::map<std::string, sdbus::Variant>>(), depth + 1));
    if (type == "v")
        return converted(variant.get<sdbus::Variant>(), depth + 1);
    return {};
}

Value converted(const sdbus::Variant& variant, int depth)
{
    if (depth > kMaximumDepth)
        return {};
    try {
        return convertedUnguarded(variant, depth);
    } catch (const sdbus::Error&) {
        return {};
    }
}

} // namespace

Value valueOf(const sdbus::Variant& variant)
{
    return converted(variant, 0);
}

Dictionary dictionaryOf(const std::map<std::string, sdbus::Variant>& members)
{
    return convertedMembers(members, 0);
}

} // namespace vitrel
