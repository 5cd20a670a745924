#include "FeedKit/fetch/Fetcher.h"

#include "base/Text.h"

namespace FeedKit {

std::string charsetOf(std::string_view contentType)
{
    const auto lower = vitrel::asciiLowercase(contentType);
    for (auto rest = std::string_view(lower); rest.find(';') != rest.npos;) {
        rest.remove_prefix(rest.find(';') + 1);
        const auto parameter = vitrel::trimmed(rest.substr(0, rest.find(';')));
        if (!parameter.starts_with("charset="))
            continue;
        return std::string(vitrel::trimmed(parameter.substr(8), " \t\"'"));
    }
    return {};
}

} // namespace FeedKit
