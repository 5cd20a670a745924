// What ports and their values are called in a picture.
#include "base/Text.h"
#include "platform/quartzcomposer/file/TextValues.h"
#include "platform/quartzcomposer/picturing/Diagram.h"

#include <cctype>
#include <cmath>
#include <cstdio>

namespace vitrel::qc {

namespace {

constexpr std::size_t kLongest = 26; // characters of a value

std::string cut(const std::string& text)
{
    return shownText(text, kLongest);
}

} // namespace

std::string portLabel(const std::string& key)
{
    std::string_view rest = key;
    for (const std::string_view prefix : {"_protocolInput_", "input", "output", "_"}) {
        if (rest.size() > prefix.size() && rest.starts_with(prefix)) {
            rest.remove_prefix(prefix.size());
            break;
        }
    }
    std::string label;
    for (std::size_t k = 0; k < rest.size(); ++k) {
        const auto here = static_cast<unsigned char>(rest[k]);
        const bool begins = k > 0 && std::isupper(here) && std::islower(static_cast<unsigned char>(rest[k - 1]));
        if (begins)
            label += ' ';
        label += here == '_' ? ' ' : rest[k];
    }
    return cut(label);
}

std::string valueLabel(const PortValue& value)
{
    if (const auto* flag = value.as<bool>())
        return *flag ? "yes" : "no";
    if (const auto* index = value.as<std::uint32_t>())
        return std::to_string(*index);
    if (const auto* number = value.as<double>()) {
        char text[32];
        std::snprintf(text, sizeof text, "%.4g", *number);
        return text;
    }
    if (const auto* text = value.as<std::string>())
        return text->empty() ? std::string() : "\u201C" + cut(*text) + "\u201D";
    if (const auto* color = value.as<NSColor>()) {
        const auto byte = [](double part) { return int(std::lround(std::min(1.0, std::max(0.0, part)) * 255)); };
        char text[10];
        std::snprintf(text, sizeof text, "#%02x%02x%02x%02x", unsigned(byte(color->red)), unsigned(byte(color->green)),
            unsigned(byte(color->blue)), unsigned(byte(color->alpha)));
        return text;
    }
    if (const auto* image = value.as<ImageRef>())
        return *image ? "picture" : std::string();
    if (const auto* structure = value.as<StructureRef>())
        return *structure ? std::to_string((*structure)->members.size()) + " members" : std::string();
    return {};
}

} // namespace vitrel::qc
