#include "FeedKit/fetch/URL.h"

#include "FeedKit/basics/Letters.h"

#include <algorithm>

namespace FeedKit {

namespace {

bool isScheme(std::string_view text)
{
    const auto isFurther
        = [](char c) { return isASCIILetter(c) || isASCIIDigit(c) || c == '+' || c == '-' || c == '.'; };
    return !text.empty() && isASCIILetter(text[0]) && std::all_of(text.begin(), text.end(), isFurther);
}

// Without white space around it and without line ends and tabs.
std::string unwrapped(std::string_view text)
{
    while (!text.empty() && isHTMLSpace(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isHTMLSpace(text.back()))
        text.remove_suffix(1);
    std::string out(text);
    std::erase_if(out, [](char c) { return c == '\t' || c == '\n' || c == '\r'; });
    return out;
}

// RFC 3986, section 5.2.4, on segments.
std::string withoutDotSegments(std::string_view path)
{
    std::string out;
    out.reserve(path.size());
    const bool isAbsolute = path.starts_with('/');
    const std::size_t root = isAbsolute ? 1 : 0;
    out.append(path, 0, root);
    path.remove_prefix(root);
    for (bool goesOn = true; goesOn;) {
        const auto slash = path.find('/');
        const auto segment = path.substr(0, slash);
        goesOn = slash != path.npos;
        if (segment == "..") {
            // The last of out's segments goes, with its slash; the root stays.
            const auto before = out.size() > root ? out.rfind('/', out.size() - 2) : out.npos;
            out.resize(out.size() <= root || before == out.npos ? root : before + 1);
        } else if (segment != ".") {
            out.append(segment);
            if (goesOn)
                out += '/';
        }
        if (goesOn)
            path.remove_prefix(slash + 1);
    }
    return out;
}

// RFC 3986, section 5.2.3.
std::string mergedPath(const URL& base, std::string_view reference)
{
    const auto path = base.path();
    if (base.authority() && path.empty())
        return std::string("/").append(reference);
    return std::string(path.substr(0, path.rfind('/') + 1)).append(reference);
}

std::string joined(std::string_view scheme, std::optional<std::string_view> authority, std::string_view path)
{
    auto out = std::string(scheme).append(":");
    if (authority)
        out.append("//").append(*authority);
    else if (path.starts_with("//"))
        out.append("/."); // or the path would pass for a host
    return out.append(path);
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

std::optional<std::string_view> URL::authority() const&
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

std::optional<std::string_view> URL::query() const&
{
    const auto end = text_.find('#');
    const auto begin = text_.find('?');
    if (begin >= end)
        return std::nullopt;
    return std::string_view(text_).substr(begin + 1, end == text_.npos ? end : end - begin - 1);
}

std::string_view URL::fragment() const&
{
    const auto begin = text_.find('#');
    return begin == text_.npos ? std::string_view() : std::string_view(text_).substr(begin);
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

std::optional<URL> resolved(const URL& base, std::string_view text)
{
    URL reference(unwrapped(text));
    if (base.text().empty())
        return reference;
    const auto path = reference.path();
    std::string out;
    if (!reference.scheme().empty()) {
        // Without a host or a root nothing in it is a dot segment ("urn:a/../b", "data:").
        if (!reference.authority() && !path.starts_with('/'))
            return reference;
        out = joined(reference.scheme(), reference.authority(), withoutDotSegments(path));
    } else {
        const bool hasFolders = base.authority() || base.path().starts_with('/');
        const bool isWithinBase = reference.text().empty() || reference.text().starts_with('#');
        if (base.scheme().empty() || (!hasFolders && !isWithinBase))
            return std::nullopt;
        if (reference.authority())
            out = joined(base.scheme(), reference.authority(), withoutDotSegments(path));
        else if (path.empty())
            out = joined(base.scheme(), base.authority(), base.path());
        else
            out = joined(base.scheme(), base.authority(),
                withoutDotSegments(path.starts_with('/') ? std::string(path) : mergedPath(base, path)));
        const bool takesQuery = path.empty() && !reference.authority() && !reference.query();
        if (takesQuery && base.query())
            out.append("?").append(*base.query());
    }
    if (const auto query = reference.query())
        out.append("?").append(*query);
    return URL(std::move(out.append(reference.fragment())));
}

} // namespace FeedKit
