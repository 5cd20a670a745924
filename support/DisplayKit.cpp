#include "support/DisplayKit.h"

#include "platform/appkit/NSScreen.h"
#include "support/PrintKit.h"

#include <utility>

namespace vitrel {
namespace {

std::optional<std::uint32_t> unsigned32(const Value& value)
{
    const auto* number = value.as<std::int64_t>();
    if (!number || !std::in_range<std::uint32_t>(*number))
        return std::nullopt;
    return static_cast<std::uint32_t>(*number);
}

const Value& entry(const Dictionary& members, const char* key)
{
    static const Value nothing;
    const auto found = members.find(key);
    return found == members.end() ? nothing : found->second;
}

std::vector<DisplayInformation> displays(const DisplaySurroundings& surroundings)
{
    return surroundings.displays ? surroundings.displays() : std::vector<DisplayInformation>{};
}

bool saysItIs(const Value& info, const DisplayInformation& display)
{
    const Dictionary* members = info.dictionary();
    return members && unsigned32(entry(*members, "DisplayVendorID")) == display.vendor
        && unsigned32(entry(*members, "DisplayProductID")) == display.model
        && unsigned32(entry(*members, "DisplaySerialNumber")).value_or(0) == display.serial;
}

template <class Test> std::shared_ptr<const NSScreen> firstScreen(const DisplaySurroundings& surroundings, Test test)
{
    if (!surroundings.screens)
        return nullptr;
    for (auto& screen : surroundings.screens()) {
        if (screen && test(*screen))
            return std::move(screen);
    }
    return nullptr;
}

} // namespace

std::optional<std::uint32_t> displayIDInt(const NSScreen& screen)
{
    return unsigned32(entry(screen.deviceDescription, "NSScreenNumber"));
}

std::optional<Value> screenNumber(const NSScreen& screen)
{
    const auto number = displayIDInt(screen);
    return number ? std::optional(Value(static_cast<std::int64_t>(*number))) : std::nullopt;
}

std::optional<std::string> screenNumberStringValue(const NSScreen& screen)
{
    const auto number = screenNumber(screen);
    return number ? std::optional(description(*number)) : std::nullopt;
}

std::uint32_t getIOService(const DisplaySurroundings& surroundings, std::uint32_t number)
{
    const auto list = displays(surroundings);
    for (const auto& display : list) {
        if (display.number != number)
            continue;
        for (std::size_t k = 0; k < list.size(); ++k) {
            if (saysItIs(list[k].info, display))
                return static_cast<std::uint32_t>(k + 1);
        }
    }
    return 0;
}

std::optional<std::string> _displayName(const DisplaySurroundings& surroundings, const NSScreen& screen)
{
    const auto number = displayIDInt(screen);
    if (!number) {
        print::line("Could not get CGDirectDisplayID from NSScreen.");
        return std::nullopt;
    }
    const auto service = getIOService(surroundings, *number);
    if (!service) {
        print::line("Could not get valid io_service_t.");
        return std::nullopt;
    }
    const auto list = displays(surroundings);
    const Dictionary* info = service <= list.size() ? list[service - 1].info.dictionary() : nullptr;
    if (!info) {
        print::line("IODisplayCreateInfoDictionary could not convert or cast to [String: AnyObject]");
        return std::nullopt;
    }
    const Dictionary* names = entry(*info, "DisplayProductName").dictionary();
    if (!names || names->empty())
        return std::nullopt;
    for (const auto& [language, name] : *names) {
        if (!name.as<std::string>())
            return std::nullopt;
    }
    return *names->begin()->second.as<std::string>();
}

std::optional<std::string> displayName(const DisplaySurroundings& surroundings, const NSScreen& screen)
{
    return _displayName(surroundings, screen);
}

std::optional<std::string> displayOrLocalizedName(const DisplaySurroundings& surroundings, const NSScreen& screen)
{
    if (surroundings.systemVersion >= OperatingSystemVersion{10, 15, 0})
        return screen.localizedName;
    return _displayName(surroundings, screen);
}

std::optional<std::string> uuidForDisplayID(const DisplaySurroundings& surroundings, std::uint32_t number)
{
    for (auto& display : displays(surroundings)) {
        if (display.number == number && !display.uuid.empty())
            return std::move(display.uuid);
    }
    return std::nullopt;
}

std::shared_ptr<const NSScreen> screenForIdentifier(
    const DisplaySurroundings& surroundings, std::string_view identifier)
{
    return firstScreen(surroundings, [&](const NSScreen& screen) {
        const auto number = displayIDInt(screen);
        return number && uuidForDisplayID(surroundings, *number) == identifier;
    });
}

std::shared_ptr<const NSScreen> screenForDisplayID(const DisplaySurroundings& surroundings, std::string_view displayID)
{
    return firstScreen(surroundings, [&](const NSScreen& screen) {
        const auto number = displayIDInt(screen);
        return number && std::to_string(*number) == displayID;
    });
}

std::shared_ptr<const NSScreen> screenForNumber(const DisplaySurroundings& surroundings, std::string_view number)
{
    return screenForDisplayID(surroundings, number);
}

} // namespace vitrel
