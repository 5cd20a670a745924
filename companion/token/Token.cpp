#include "companion/token/Token.h"

#include "base/MD5.h"
#include "base/Text.h"

namespace vitrel {

static_assert(kCompanionFirstSalt.size() == 31);
static_assert(kCompanionSecondSalt.size() == 91 && kCompanionSecondSalt[80] == '\n');

namespace {

std::string md5Base64(const std::string& text)
{
    return encodeBase64(md5(bytesOf(text)));
}

std::string joined(std::string_view text, std::string_view salt)
{
    return std::string(text).append(salt);
}

} // namespace

std::string companionSignature(std::string_view id)
{
    const std::string inner = md5Base64(joined(id, kCompanionFirstSalt));
    return md5Base64(joined(inner, kCompanionSecondSalt));
}

std::string companionSealedText(std::string_view signature, std::string_view id, std::string_view date)
{
    return std::string("&s=").append(signature).append("&id=").append(id).append("&d=").append(date);
}

std::string companionSeal(std::string_view sealedText)
{
    return md5Base64(joined(sealedText, kCompanionFirstSalt));
}

std::string companionQuery(std::string_view id, std::string_view date)
{
    const std::string sealed = companionSealedText(companionSignature(id), id, date);
    return sealed + "&h=" + companionSeal(sealed);
}

std::string escapedCompanionQuery(std::string_view id, std::string_view date)
{
    return escapedWithURLQueryAllowed(companionQuery(id, date));
}

std::string escapedWithURLQueryAllowed(std::string_view text)
{
    return percentEncoded(text, "!$&'()*+,-./:;=?@_~");
}

} // namespace vitrel
