#pragma once

#include "base/MD5.h"

#include <string>
#include <string_view>

namespace vitrel {

// The MD5 digest of the text's UTF-8 bytes. Any thread.
inline MD5Digest hashMD5Data(std::string_view text)
{
    return md5(bytesOf(text));
}

// In lower case by Unicode's rules, whatever the locale, and composed (normalization form C), so that texts that look
// alike compare equal. What isn't UTF-8 becomes U+FFFD. Any thread.
std::string lowercaseString(std::string_view text);

} // namespace vitrel
