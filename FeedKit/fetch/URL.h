#pragma once

#include "FeedKit/basics/Letters.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace FeedKit {

// An address (RFC 3986), kept as the text that was given. It is looked into, never rebuilt: what a caller wrote is what
// a server gets. Any text will do; whether it is an address shows when it is fetched.
class URL
{
public:
    explicit URL(std::string text)
        : text_(std::move(text))
    { }

    const std::string& text() const { return text_; }

    // As written, without the colon; empty if the text doesn't begin with a scheme.
    std::string_view scheme() const&;
    std::string_view scheme() const&& = delete; // a view must not outlive its address
    // As written, without user and port; empty if there is none. Square brackets stay around an IPv6 address.
    std::string_view host() const&;
    std::string_view host() const&& = delete;
    // Behind the host and ahead of "?" and "#", escapes as written; empty if there is none.
    std::string_view path() const&;
    std::string_view path() const&& = delete;

    friend bool operator==(const URL&, const URL&) = default;

private:
    // Behind "//", up to the path; absent without "//".
    std::optional<std::string_view> authority() const;
    std::string_view behindScheme() const;

    std::string text_;
};

// `url` with the scheme `with` if its scheme is `scheme` (in any case of letters), else unchanged. Nothing but the
// scheme changes. Absent if `with` is no scheme.
std::optional<URL> replacing(const URL& url, std::string_view scheme, std::string_view with);

} // namespace FeedKit
