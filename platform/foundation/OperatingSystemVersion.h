#pragma once

#include <compare>
#include <optional>
#include <string_view>

namespace vitrel {

// The version that the saver takes the system to be. It is a property of the host and decides by which road the
// track comes.
struct OperatingSystemVersion {
    int majorVersion = 10, minorVersion = 13, patchVersion = 6;

    friend auto operator<=>(const OperatingSystemVersion&, const OperatingSystemVersion&) = default;
};

// "10.14", "10.13.6", "11": one to three numbers up to 9999 with points between them; absent for anything else.
std::optional<OperatingSystemVersion> makeOperatingSystemVersion(std::string_view text);

} // namespace vitrel
