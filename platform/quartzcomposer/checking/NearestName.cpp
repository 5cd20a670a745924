#include "platform/quartzcomposer/checking/NearestName.h"

#include "base/Text.h"

#include <algorithm>

namespace vitrel::qc {

namespace {

std::string_view withoutPrefix(std::string_view name)
{
    for (const std::string_view prefix : {"input", "output", "qc", "ci"}) {
        if (name.size() > prefix.size() && name.starts_with(prefix))
            return name.substr(prefix.size());
    }
    return name;
}

} // namespace

std::size_t distance(std::string_view a, std::string_view b, std::size_t most)
{
    const std::string first = asciiLowercase(a), second = asciiLowercase(b);
    if (std::max(first.size(), second.size()) - std::min(first.size(), second.size()) > most)
        return most + 1;
    // Damerau's distance with adjacent exchanges, by rows.
    std::vector<std::size_t> before(second.size() + 1), last(second.size() + 1), row(second.size() + 1);
    for (std::size_t k = 0; k <= second.size(); ++k)
        last[k] = k;
    for (std::size_t i = 1; i <= first.size(); ++i) {
        row[0] = i;
        for (std::size_t k = 1; k <= second.size(); ++k) {
            const bool isSame = first[i - 1] == second[k - 1];
            row[k] = std::min({last[k] + 1, row[k - 1] + 1, last[k - 1] + (isSame ? 0 : 1)});
            if (i > 1 && k > 1 && first[i - 1] == second[k - 2] && first[i - 2] == second[k - 1])
                row[k] = std::min(row[k], before[k - 2] + 1);
        }
        if (*std::min_element(row.begin(), row.end()) > most)
            return most + 1;
        before.swap(last);
        last.swap(row);
    }
    return last[second.size()];
}

std::string nearestName(std::string_view given, const std::vector<std::string>& names)
{
    constexpr std::size_t kLongest = 256; // a longer word is no slip of the pen
    std::string nearest;
    if (given.empty() || given.size() > kLongest)
        return nearest;
    const std::string lower = asciiLowercase(given);
    std::size_t least = std::max<std::size_t>(withoutPrefix(lower).size() / 3, 1) + 1;
    for (const std::string& name : names) {
        const std::string other = asciiLowercase(name);
        const std::size_t far = std::min(
            distance(lower, other, least - 1), distance(withoutPrefix(lower), withoutPrefix(other), least - 1));
        if (far < least) {
            least = far;
            nearest = name;
        }
        if (least == 0)
            break;
    }
    return nearest;
}

std::string nearestHint(std::string_view given, const std::vector<std::string>& names)
{
    const std::string nearest = nearestName(given, names);
    return nearest.empty() ? nearest : "; \"" + nearest + "\" is near";
}

} // namespace vitrel::qc
