#pragma once

#include "base/Result.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace vitrel {

// What a request's head says, as far as this program cares.
struct HttpRequest {
    std::string method;
    std::string target; // as on the wire, nothing decoded
    std::string host; // empty without the header
    // The connection may carry another request after this one.
    bool keepsAlive = false;
    // A web page asked for it: there is an "Origin", or what browsers alone send.
    bool isFromPage = false;
};

enum class NoHttpHead {
    Yet, // it is incomplete
    Broken, // nothing that can be answered with sense; what follows it can't be read either
};

struct HttpHead {
    HttpRequest request;
    std::size_t length = 0; // bytes
};

// A head may have so many bytes, its empty line included. The companion's requests have about 300.
inline constexpr std::size_t kMostHttpHead = 8192;

// Reads the head at the beginning of `bytes`, strictly by RFC 9112: lines end in CR LF, no continuation lines, one
// blank between the parts of the first line, HTTP/1.0 or 1.1. A request with a body is broken: none is expected.
// Any thread.
Result<HttpHead, NoHttpHead> readHttpRequest(std::string_view bytes);

// Whether a "Host" names this machine's loopback device, with or without a port: localhost, 127.0.0.1 or [::1]. A
// name that somebody else's server resolves to the loopback device doesn't.
bool isLoopbackHost(std::string_view host);

} // namespace vitrel
