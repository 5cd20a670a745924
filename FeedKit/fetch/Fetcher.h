#pragma once

#include "FeedKit/basics/Bytes.h"
#include "FeedKit/basics/Export.h"
#include "FeedKit/basics/Result.h"
#include "FeedKit/fetch/URL.h"

#include <optional>
#include <stop_token>
#include <string>

namespace FeedKit {

// What a server gives with an answer so that a client can ask later whether it still holds (RFC 9110, section 8.8).
struct Validators {
    std::optional<std::string> eTag;
    std::optional<std::string> lastModified;

    friend bool operator==(const Validators&, const Validators&) = default;
};

struct FetchedContents {
    Bytes bytes;
    Validators validators;
    URL address = URL(""); // where they lay in the end, behind all redirects; may be unknown
    int status = 0; // of HTTP (RFC 9110, section 15); 0 for another scheme, or if unknown
    std::string contentType; // as the server has it (RFC 9110, section 8.3); empty if it doesn't say
};

// The charset that a content type names, in lower case; empty if it names none.
FEEDKIT_API std::string charsetOf(std::string_view contentType);

// Where documents come from: the seam between parsers and the world.
class FEEDKIT_API Fetcher
{
public:
    virtual ~Fetcher() = default;

    // The whole resource, or absent if it is still the one that came with `known`, which may be nothing. Blocks the
    // calling thread. The error is a reason in words, for people. Once `stop` is requested, by whichever thread, it
    // ends at once, with an error.
    virtual Result<std::optional<FetchedContents>, std::string> contentsOfIfModified(
        const URL& url, const Validators& known, std::stop_token stop = {})
        = 0;

    // The whole resource, in the same way.
    Result<Bytes, std::string> contentsOf(const URL& url, std::stop_token stop = {})
    {
        auto contents = contentsOfIfModified(url, {}, std::move(stop));
        if (!contents)
            return contents.error();
        if (!*contents)
            return std::string("nothing came, though nothing was known");
        return std::move((*contents)->bytes);
    }
};

} // namespace FeedKit
