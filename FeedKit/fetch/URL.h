#pragma once

#include "FeedKit/basics/Export.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace FeedKit {

// An address (RFC 3986), kept as the text that was given. It is looked into, never rebuilt: what a caller wrote is what
// a server gets. Any text will do; whether it is an address shows when it is fetched.
class FEEDKIT_API URL
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

    // Behind "//" and ahead of the path, user and port with it; absent without "//".
    std::optional<std::string_view> authority() const&;
    std::optional<std::string_view> authority() const&& = delete;
    // Behind "?" and ahead of "#"; absent without "?".
    std::optional<std::string_view> query() const&;
    std::optional<std::string_view> query() const&& = delete;
    // From "#" on, which is part of it; empty if there is none.
    std::string_view fragment() const&;
    std::string_view fragment() const&& = delete;

    friend bool operator==(const URL&, const URL&) = default;

private:
    FEEDKIT_LOCAL std::string_view behindScheme() const;

    std::string text_;
};

// `url` with the scheme `with` if its scheme is `scheme` (in any case of letters), else unchanged. Nothing but the
// scheme changes. Absent if `with` is no scheme.
FEEDKIT_API std::optional<URL> replacing(const URL& url, std::string_view scheme, std::string_view with);

// The address that `reference`, found in the document at `base`, stands for (RFC 3986, section 5.2, strictly). White
// space around it and line ends and tabs in it, which documents are wrapped with, don't count. With an empty `base` it
// is the reference itself. Absent if `reference` needs a base and `base` can be none: it has no scheme, or is of a kind
// without folders ("mailto:a@b"). Linear time.
FEEDKIT_API std::optional<URL> resolved(const URL& base, std::string_view reference);

} // namespace FeedKit
