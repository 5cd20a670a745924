#include "support/StringKit.h"

#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include <algorithm>

namespace vitrel {

std::string lowercaseString(std::string_view text)
{
    std::string out(text);
    if (std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; })) {
        std::transform(out.begin(), out.end(), out.begin(),
            [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
        return out;
    }
    auto wide = icu::UnicodeString::fromUTF8(icu::StringPiece(out));
    wide.toLower(icu::Locale::getRoot());
    UErrorCode error = U_ZERO_ERROR;
    if (const auto* composer = icu::Normalizer2::getNFCInstance(error); U_SUCCESS(error)) {
        const auto composed = composer->normalize(wide, error);
        if (U_SUCCESS(error))
            wide = composed;
    }
    out.clear();
    wide.toUTF8String(out);
    return out;
}

} // namespace vitrel
