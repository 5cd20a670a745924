#pragma once

#include "base/MD5.h"

#include <string_view>

namespace vitrel {

// The MD5 digest of the text's UTF-8 bytes. Any thread.
inline MD5Digest hashMD5Data(std::string_view text)
{
    return md5(bytesOf(text));
}

} // namespace vitrel
