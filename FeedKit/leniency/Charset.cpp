#include "FeedKit/leniency/Charset.h"

#include "FeedKit/xml/InputDecoder.h"
#include "base/Text.h"

#include <algorithm>
#include <unicode/utf8.h>

namespace FeedKit {

namespace {

constexpr std::size_t kPiece = 64 * 1024;
constexpr std::size_t kLookedAt = 1024; // for zeros
constexpr std::size_t kMostJunk = 64 * 1024;

// windows-1252 from 0x80 on (the table of the WHATWG's Encoding Standard, with what it leaves to C1 as U+FFFD). From
// 0xA0 on it is Latin-1.
constexpr char16_t kWindows1252[32] = {0x20AC, 0xFFFD, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030,
    0x0160, 0x2039, 0x0152, 0xFFFD, 0x017D, 0xFFFD, 0xFFFD, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0xFFFD, 0x017E, 0x0178};

void append(std::string& text, char32_t character)
{
    char bytes[U8_MAX_LENGTH];
    std::int32_t length = 0;
    U8_APPEND_UNSAFE(bytes, length, character);
    text.append(bytes, static_cast<std::size_t>(length));
}

// Where the first byte stands that is no UTF-8 from `at` on.
std::size_t invalidUtf8(std::string_view text, std::size_t at)
{
    const auto bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    while (at < text.size()) {
        if (bytes[at] < 0x80) {
            ++at;
            continue;
        }
        const auto length = static_cast<std::int32_t>(std::min<std::size_t>(text.size() - at, U8_MAX_LENGTH));
        std::int32_t used = 0;
        UChar32 character = 0;
        U8_NEXT(bytes + at, used, length, character);
        if (character < 0)
            return at;
        at += static_cast<std::size_t>(used);
    }
    return text.npos;
}

// Each invalid byte as a character of windows-1252, the rest as it is.
std::string withoutInvalidUtf8(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (std::size_t from = 0;;) {
        const auto at = invalidUtf8(text, from);
        out.append(text.substr(from, at - from));
        if (at == text.npos)
            return out;
        const auto byte = static_cast<unsigned char>(text[at]);
        append(out, byte < 0xA0 ? kWindows1252[byte - 0x80] : char32_t(byte));
        from = at + 1;
    }
}

std::string fromLatin1(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (const char c : text)
        append(out, static_cast<unsigned char>(c));
    return out;
}

// All that the decoder gives; absent if it stumbles.
std::optional<std::string> contentsOf(InputDecoder& input)
{
    std::string text(input.linesSkipped(), '\n');
    text.reserve(text.size() + input.bytesLeft() + kPiece);
    for (;;) {
        const auto had = text.size();
        text.resize(had + kPiece);
        const auto count = input.read(reinterpret_cast<std::uint8_t*>(text.data()) + had, kPiece);
        text.resize(had + static_cast<std::size_t>(std::max<std::ptrdiff_t>(count, 0)));
        if (count < 0)
            return std::nullopt;
        if (count == 0)
            return text;
    }
}

// The kind of UTF-16 whose ASCII characters have their zeros where the document has most of its bytes zero.
std::string_view utf16Of(ByteView document)
{
    const auto head = document.first(std::min(document.size(), kLookedAt) / 2 * 2);
    std::size_t zeros[2] = {0, 0};
    for (std::size_t at = 0; at < head.size(); ++at)
        zeros[at % 2] += head[at] == 0;
    for (const std::size_t side : {0u, 1u}) {
        if (zeros[side] > head.size() / 4 && zeros[1 - side] < head.size() / 16)
            return side == 0 ? "UTF-16BE" : "UTF-16LE";
    }
    return {};
}

std::optional<std::string> asItSays(ByteView document)
{
    DataInputStream stream(document);
    InputDecoder input(stream);
    const auto encoding = input.open();
    if (!encoding)
        return std::nullopt;
    const auto name = vitrel::asciiLowercase(encoding);
    auto text = contentsOf(input);
    if (text && name == "iso-8859-1")
        return fromLatin1(*text);
    if (text && text->find('\0') != text->npos && !utf16Of(document).empty())
        return std::nullopt;
    // What is US-ASCII is UTF-8, and anything beyond it is neither.
    return text && invalidUtf8(*text, 0) == text->npos ? std::move(text) : std::nullopt;
}

std::optional<std::string> decodedAs(ByteView document, std::string_view charset)
{
    DataInputStream stream(document);
    InputDecoder input(stream);
    return input.openAs(std::string(charset)) ? contentsOf(input) : std::nullopt;
}

// What the XML declaration says, where other text precedes it.
std::string_view declaredBehindJunk(ByteView document)
{
    auto head = textOf(document.first(std::min(document.size(), kMostJunk)));
    const auto start = head.find("<?xml");
    if (start == head.npos || vitrel::trimmed(head.substr(0, start)).empty())
        return {};
    head = head.substr(start);
    head = head.substr(0, head.find("?>"));
    const auto at = head.find_first_of("\"'", std::min(head.find("encoding"), head.size()));
    if (at == head.npos)
        return {};
    const auto value = head.substr(at + 1);
    return value.substr(0, value.find(head[at]));
}

} // namespace

std::optional<std::string> decodedText(ByteView document, std::string_view httpCharset, Forgivings& forgivings)
{
    if (auto text = asItSays(document))
        return text;
    if (!forgivings.may(Forgivable::charset))
        return std::nullopt;
    const auto forgiven = [&](std::string text, std::string_view as) {
        forgivings.add(Forgivable::charset, [&] { return "read as " + std::string(as); });
        if (text.starts_with("\uFEFF"))
            text.erase(0, 3);
        return text;
    };
    for (const auto charset : {httpCharset, utf16Of(document), declaredBehindJunk(document)}) {
        if (charset.empty())
            continue;
        if (auto text = decodedAs(document, charset))
            return forgiven(*std::move(text), charset);
    }
    const auto text = textOf(document);
    if (invalidUtf8(text, 0) == text.npos)
        return forgiven(std::string(text), "UTF-8");
    return forgiven(withoutInvalidUtf8(text), "windows-1252");
}

} // namespace FeedKit
