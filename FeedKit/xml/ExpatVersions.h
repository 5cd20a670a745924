#pragma once

#include <cstdint>
#include <expat.h>
#include <string_view>

// Not in every 2.5.
extern "C" __attribute__((weak)) XML_Bool XML_SetReparseDeferralEnabled(XML_Parser parser, XML_Bool enabled);

// What differs between expat 2.5 (Debian 12) and 2.9 (updates of Debian 13) in the calls that are made here.
namespace FeedKit {

// Since 2.6, and since an update of Debian 12's 2.5, a tag that came in two pieces waits until as much again has come,
// against documents that are sent byte by byte. The end of a feed's root may be followed by nothing; NSXMLParser bounds
// the scanning in its own way. Asked at run time, as the update may come after the build.
inline void readAtOnce(XML_Parser parser)
{
    if (XML_SetReparseDeferralEnabled)
        XML_SetReparseDeferralEnabled(parser, XML_FALSE);
}

// Where it is in the document. 2.9 deprecates the former calls.
#if XML_MAJOR_VERSION * 100 + XML_MINOR_VERSION >= 209
// -1 ahead of the first byte.
inline std::int64_t byteIndexOf(XML_Parser parser)
{
    return XML_GetCurrentByteIndex64(parser);
}
inline std::uint64_t lineOf(XML_Parser parser)
{
    return XML_GetCurrentLineNumber64(parser);
}
inline std::uint64_t columnOf(XML_Parser parser)
{
    return XML_GetCurrentColumnNumber64(parser);
}
// What it holds of the document, from its event on.
inline std::string_view textAt(XML_Parser parser)
{
    std::int64_t offset = 0;
    std::uint64_t size = 0;
    const char* const context = XML_GetInputContext64(parser, &offset, &size);
    return context ? std::string_view(context, size).substr(static_cast<std::size_t>(offset)) : std::string_view();
}
#else
inline std::int64_t byteIndexOf(XML_Parser parser)
{
    return XML_GetCurrentByteIndex(parser);
}
inline std::uint64_t lineOf(XML_Parser parser)
{
    return XML_GetCurrentLineNumber(parser);
}
inline std::uint64_t columnOf(XML_Parser parser)
{
    return XML_GetCurrentColumnNumber(parser);
}
inline std::string_view textAt(XML_Parser parser)
{
    int offset = 0;
    int size = 0;
    const char* const context = XML_GetInputContext(parser, &offset, &size);
    return context ? std::string_view(context, static_cast<std::size_t>(size)).substr(static_cast<std::size_t>(offset))
                   : std::string_view();
}
#endif

} // namespace FeedKit
