#pragma once

#include <string_view>

namespace FeedKit {

// What a named character reference of HTML stands for, as UTF-8 in static memory: "eacute" for "&eacute;", without
// ampersand and semicolon, in the case of letters that the standard gives. Empty for an unknown name. The names are the
// 252 of HTML 4.01, section 24, and XML's "apos". Any thread.
std::string_view htmlCharacters(std::string_view name);

} // namespace FeedKit
