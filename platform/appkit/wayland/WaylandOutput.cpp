#include "platform/appkit/wayland/WaylandOutput.h"

#include "base/MD5.h"

#include <algorithm>
#include <charconv>
#include <map>

namespace vitrel {

namespace {

// What compositors say when they don't know.
std::string known(const std::string& text)
{
    return text == "Unknown" || text == "unknown" || text == "0x00000000" ? std::string() : text;
}

// Descriptions are "MAKE MODEL SERIAL (CONNECTOR)" where the compositor follows the usual form; anything else has no
// serial that could be told.
std::string serialOf(const WaylandOutput& output)
{
    std::string text = output.description;
    const std::string connector = " (" + output.name + ")", front = output.make + " " + output.model + " ";
    if (text.ends_with(connector))
        text.resize(text.size() - connector.size());
    return text.starts_with(front) ? known(text.substr(front.size())) : std::string();
}

// 0 for the empty text, and never for another.
std::uint32_t numberFrom(const std::string& text)
{
    if (text.empty())
        return 0;
    std::uint32_t number = 0;
    if (text.starts_with("0x")) {
        const auto [end, error] = std::from_chars(text.data() + 2, text.data() + text.size(), number, 16);
        if (error == std::errc() && end == text.data() + text.size() && number != 0)
            return number;
    }
    const MD5Digest digest = md5(bytesOf(text));
    return std::max(1u, std::uint32_t(digest[0]) << 16 | std::uint32_t(digest[1]) << 8 | digest[2]);
}

// Three capitals are the letters that EDID packs into 16 bits, A being 1.
std::uint32_t vendorFrom(const std::string& make)
{
    const bool isLetters
        = make.size() == 3 && std::all_of(make.begin(), make.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
    if (!isLetters)
        return numberFrom(make);
    std::uint32_t number = 0;
    for (const char c : make)
        number = number << 5 | std::uint32_t(c - 'A' + 1);
    return number;
}

std::string keyOf(const WaylandOutput& output, bool withConnector)
{
    std::string key = "output " + known(output.make) + " / " + known(output.model) + " / " + serialOf(output);
    if (withConnector)
        key += " at " + output.name;
    return key;
}

void identify(WaylandOutput& output, const std::string& key)
{
    auto& information = output.information;
    nameDisplay(information, key);
    const std::string make = known(output.make), model = known(output.model);
    std::string name = make.empty() || model.empty() ? make + model : make + " " + model;
    if (!name.empty()) {
        information.vendor = vendorFrom(make);
        information.model = numberFrom(model);
        information.serial = numberFrom(serialOf(output));
        information.info = Dictionary{{"DisplayVendorID", std::int64_t(information.vendor)},
            {"DisplayProductID", std::int64_t(information.model)},
            {"DisplaySerialNumber", std::int64_t(information.serial)},
            {"DisplayProductName", Dictionary{{"en_US", name}}}};
    }
    output.screen.localizedName = name.empty() ? output.name : name;
    output.screen.deviceDescription["NSScreenNumber"] = std::int64_t(information.number);
}

} // namespace

void identifyOutputs(std::vector<WaylandOutput>& outputs)
{
    std::map<std::string, int> count;
    for (const auto& output : outputs)
        ++count[keyOf(output, false)];
    for (auto& output : outputs) {
        const bool isEnough = !serialOf(output).empty() && count[keyOf(output, false)] == 1;
        identify(output, keyOf(output, !isEnough));
    }
    if (outputs.empty())
        return;
    const auto heightOf = [](const WaylandOutput& output) { return output.height / std::max(1, output.scale); };
    const auto& first = outputs.front();
    const int left = first.x, bottom = first.y + heightOf(first);
    for (auto& output : outputs)
        output.screen.frame = makeRect(
            double(output.x) - left, double(bottom) - output.y - heightOf(output), output.width, output.height);
}

} // namespace vitrel
