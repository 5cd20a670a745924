#include "platform/foundation/OperatingSystemVersion.h"

namespace vitrel {

std::optional<OperatingSystemVersion> makeOperatingSystemVersion(std::string_view text)
{
    int numbers[3] = {0, 0, 0};
    int digits = 0, place = 0;
    for (const char c : text) {
        if (c >= '0' && c <= '9' && digits < 4) {
            numbers[place] = numbers[place] * 10 + (c - '0');
            ++digits;
        } else if (c == '.' && digits > 0 && place < 2) {
            ++place;
            digits = 0;
        } else {
            return std::nullopt;
        }
    }
    if (digits == 0)
        return std::nullopt;
    return OperatingSystemVersion{numbers[0], numbers[1], numbers[2]};
}

} // namespace vitrel
