#include "programs/muralis/http/HttpRequest.h"

#include "base/Text.h"

#include <algorithm>

namespace vitrel {

namespace {

constexpr std::string_view kBlanks = " \t"; // OWS of RFC 9110, section 5.6.3

bool isSame(std::string_view text, std::string_view lower)
{
    return asciiLowercase(text) == lower;
}

// "token" of RFC 9110, section 5.6.2.
bool isToken(std::string_view text)
{
    constexpr std::string_view marks = "!#$%&'*+-.^_`|~";
    return !text.empty() && std::all_of(text.begin(), text.end(), [&](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')
            || marks.find(c) != std::string_view::npos;
    });
}

bool isDigits(std::string_view text)
{
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

bool isControl(char c)
{
    return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7F;
}

bool readRequestLine(std::string_view line, HttpRequest& request)
{
    const std::size_t first = line.find(' '), last = line.rfind(' ');
    if (first == std::string_view::npos || first == last)
        return false;
    const std::string_view method = line.substr(0, first), target = line.substr(first + 1, last - first - 1),
                           version = line.substr(last + 1);
    const auto isVisible = [](char c) { return c > 0x20 && c < 0x7F; };
    if (!isToken(method) || target.empty() || !std::all_of(target.begin(), target.end(), isVisible))
        return false;
    if (version != "HTTP/1.1" && version != "HTTP/1.0")
        return false;
    request.method = method;
    request.target = target;
    request.keepsAlive = version == "HTTP/1.1";
    return true;
}

void readConnection(std::string_view value, HttpRequest& request)
{
    while (!value.empty()) {
        const std::size_t comma = std::min(value.find(','), value.size());
        if (isSame(trimmed(value.substr(0, comma), kBlanks), "close"))
            request.keepsAlive = false;
        value.remove_prefix(std::min(comma + 1, value.size()));
    }
}

struct Seen {
    bool host = false;
};

bool readField(std::string_view line, HttpRequest& request, Seen& seen)
{
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || !isToken(line.substr(0, colon)))
        return false;
    const std::string_view name = line.substr(0, colon), value = trimmed(line.substr(colon + 1), kBlanks);
    if (isSame(name, "host")) {
        // With two of them, who is in between and we may go by different ones.
        if (seen.host)
            return false;
        seen.host = true;
        request.host = value;
    } else if (isSame(name, "content-length")) {
        return value == "0";
    } else if (isSame(name, "transfer-encoding")) {
        return false;
    } else if (isSame(name, "connection")) {
        readConnection(value, request);
    } else if (isSame(name, "origin") || isSame(name.substr(0, std::min<std::size_t>(name.size(), 10)), "sec-fetch-")) {
        request.isFromPage = true;
    }
    return true;
}

} // namespace

Result<HttpHead, NoHttpHead> readHttpRequest(std::string_view bytes)
{
    const std::size_t end = bytes.substr(0, kMostHttpHead).find("\r\n\r\n");
    if (end == std::string_view::npos)
        return bytes.size() < kMostHttpHead ? NoHttpHead::Yet : NoHttpHead::Broken;
    HttpHead read{{}, end + 4};
    Seen seen;
    std::string_view head = bytes.substr(0, end + 2);
    for (bool isFirst = true; !head.empty(); isFirst = false) {
        const std::size_t lineEnd = head.find("\r\n");
        const std::string_view line = head.substr(0, lineEnd);
        head.remove_prefix(lineEnd + 2);
        if (std::any_of(line.begin(), line.end(), isControl))
            return NoHttpHead::Broken;
        if (!(isFirst ? readRequestLine(line, read.request) : readField(line, read.request, seen)))
            return NoHttpHead::Broken;
    }
    return read;
}

bool isLoopbackHost(std::string_view host)
{
    std::string_view name, port;
    const std::size_t end = host.empty() || host[0] != '[' ? host.find(':') : host.find(']') + 1;
    name = host.substr(0, end);
    port = end < host.size() ? host.substr(end) : std::string_view();
    if (!port.empty() && (port[0] != ':' || port.size() > 6 || !isDigits(port.substr(1))))
        return false;
    return isSame(name, "localhost") || name == "127.0.0.1" || name == "[::1]";
}

} // namespace vitrel
