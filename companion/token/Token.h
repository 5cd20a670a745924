#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vitrel {

// What the saver and the companion have to agree on to the byte: where the companion is found, and the token that
// says a request comes from a saver. All of it is plain computation: any thread, nothing kept, nothing can fail.

inline constexpr std::uint16_t kCompanionPort = 9802;
// Path and first key of the two requests; the display's number in decimal, or nothing, follows.
inline constexpr std::string_view kCompanionStateTarget = "/music/ChangeID?screen=";
inline constexpr std::string_view kCompanionDataTarget = "/music/Data?screen=";

// The salts are in both programs and hence no secret.
inline constexpr std::string_view kCompanionFirstSalt = "tG8k.Wq2;ZrM6pXvD*J4nBfY0sLe3Hu";
inline constexpr std::string_view kCompanionSecondSalt
    = "w{af{}r<7!u42-Fja/,hs@5Ld*T:Gjj(G[u5+PDH:{HIU.r$QdMftdK&7Z9Z<%]2AOyxpz![Yyj1v;3X\n!n7e90.me!";

// The pattern of a request's date, which is in UTC.
inline constexpr std::string_view kCompanionDatePattern = "y-MM-dd HH.mm.ss.SSS";

// `s`: the signature of a request's identity. `id` is the 36 characters of an upper-case UUID. 24 characters of base64.
std::string companionSignature(std::string_view id);

// What the seal is over: "&s=", "&id=" and "&d=" with their values, unescaped. The display's number is no part of it.
std::string companionSealedText(std::string_view signature, std::string_view id, std::string_view date);

// `h`: the seal of what companionSealedText gave. 24 characters of base64.
std::string companionSeal(std::string_view sealedText);

// `q2`: the whole of a request's query behind the display's number, from "&s=" to the end of `h`, unescaped.
std::string companionQuery(std::string_view id, std::string_view date);

// The same as it goes out.
std::string escapedCompanionQuery(std::string_view id, std::string_view date);

// Percent-escapes all bytes but letters, digits and !$&'()*+,-./:;=?@_~ with upper-case digits. "+", "/" and "=" stay,
// so whoever reads a query back must not take "+" for a blank.
std::string escapedWithURLQueryAllowed(std::string_view text);

} // namespace vitrel
