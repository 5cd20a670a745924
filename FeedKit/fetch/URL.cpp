#include "FeedKit/fetch/URL.h"

#include <algorithm>

namespace FeedKit {

namespace {

bool isScheme(std::string_view text)
{
    const auto isFurther
        = [](char c) { return isASCIILetter(c) || isASCIIDigit(c) || c == '+' || c == '-' || c == '.'; };
    return !text.empty() && isASCIILetter(text[0]) && std::all_of(text.begin(), text.end(), isFurther);
}

} // namespace

std::string_view URL::scheme() const&
{
    const auto colon = text_.find(':');
    if (colon == text_.npos || !isScheme(std::string_view(text_).substr(0, colon)))
        return {};
    return std::string_view(text_).substr(0, colon);
}

std::string_view URL::behindScheme() const
{
    const auto length = scheme().size();
    return std::string_view(text_).substr(length == 0 ? 0 : length + 1);
}

std::optional<std::string_view> URL::authority() const
{
    const auto rest = behindScheme();
    if (!rest.starts_with("//"))
        return std::nullopt;
    return rest.substr(2, std::min(rest.find_first_of("/?#", 2), rest.size()) - 2);
}

std::string_view URL::host() const&
{
    auto host = authority().value_or(std::string_view());
    if (const auto at = host.rfind('@'); at != host.npos)
        host.remove_prefix(at + 1);
    const auto bracket = host.starts_with('[') ? host.find(']') : 0;
    if (bracket == host.npos)
        return host;
    return host.substr(0, host.find(':', bracket));
}

std::string_view URL::path() const&
{
    auto rest = behindScheme();
    if (const auto before = authority())
        rest.remove_prefix(2 + before->size());
    return rest.substr(0, rest.find_first_of("?#"));
}

std::optional<URL> replacing(const URL& url, std::string_view scheme, std::string_view with)
{
    const auto had = url.scheme();
    if (had.empty() || !sameIgnoringCase(had, scheme))
        return url;
    if (!isScheme(with))
        return std::nullopt;
    return URL(std::string(with).append(url.text(), had.size()));
}

} // namespace FeedKit
