#include "platform/appkit/NSAttributedString.h"

#include "platform/appkit/NamedReferences.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <libxml/HTMLparser.h>
#include <mutex>

namespace vitrel {
namespace {

// An article has some twenty thousand characters; beyond this somebody means harm.
constexpr std::size_t kMostHTML = 4u << 20;
// What the reader gets at once.
constexpr std::size_t kPiece = 64 * 1024;

enum class Kind { inlined, block, lineBreak, hidden, preformatted };

// Elements as the style sheet of browsers has them (HTML, section 15.3), and those whose content is for browsers that
// don't know them. Sorted.
constexpr std::pair<std::string_view, Kind> kElements[] = {
    {"address", Kind::block},
    {"article", Kind::block},
    {"aside", Kind::block},
    {"audio", Kind::hidden},
    {"blockquote", Kind::block},
    {"body", Kind::block},
    {"br", Kind::lineBreak},
    {"canvas", Kind::hidden},
    {"caption", Kind::block},
    {"center", Kind::block},
    {"dd", Kind::block},
    {"details", Kind::block},
    {"dir", Kind::block},
    {"div", Kind::block},
    {"dl", Kind::block},
    {"dt", Kind::block},
    {"fieldset", Kind::block},
    {"figcaption", Kind::block},
    {"figure", Kind::block},
    {"footer", Kind::block},
    {"form", Kind::block},
    {"h1", Kind::block},
    {"h2", Kind::block},
    {"h3", Kind::block},
    {"h4", Kind::block},
    {"h5", Kind::block},
    {"h6", Kind::block},
    {"head", Kind::hidden},
    {"header", Kind::block},
    {"hr", Kind::block},
    {"html", Kind::block},
    {"iframe", Kind::hidden},
    {"li", Kind::block},
    {"listing", Kind::preformatted},
    {"main", Kind::block},
    {"menu", Kind::block},
    {"nav", Kind::block},
    {"noframes", Kind::hidden},
    {"object", Kind::hidden},
    {"ol", Kind::block},
    {"option", Kind::block},
    {"p", Kind::block},
    {"pre", Kind::preformatted},
    {"script", Kind::hidden},
    {"section", Kind::block},
    {"select", Kind::hidden},
    {"style", Kind::hidden},
    {"summary", Kind::block},
    {"table", Kind::block},
    {"tbody", Kind::block},
    {"td", Kind::block},
    {"template", Kind::hidden},
    {"textarea", Kind::hidden},
    {"tfoot", Kind::block},
    {"th", Kind::block},
    {"thead", Kind::block},
    {"title", Kind::hidden},
    {"tr", Kind::block},
    {"ul", Kind::block},
    {"video", Kind::hidden},
    {"xmp", Kind::preformatted},
};

Kind kindOf(std::string_view name)
{
    const auto found = std::lower_bound(std::begin(kElements), std::end(kElements), name,
        [](const auto& element, std::string_view wanted) { return element.first < wanted; });
    return found != std::end(kElements) && found->first == name ? found->second : Kind::inlined;
}

// Writers of old meant Windows-1252 by the numbers of these control characters, and browsers take them so (HTML,
// section 13.2.5.80).
constexpr std::array<std::uint16_t, 32> kWindows1252 = {0x20AC, 0x81, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x8D, 0x017D, 0x8F, 0x90, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013,
    0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D, 0x017E, 0x0178};

// Of a character beyond ASCII.
std::string utf8(char32_t code)
{
    std::string bytes;
    const auto put = [&](unsigned lead, unsigned shift) {
        bytes += static_cast<char>(lead | code >> shift);
        for (; shift > 0; shift -= 6)
            bytes += static_cast<char>(0x80 | (code >> (shift - 6) & 0x3F));
    };
    code < 0x800 ? put(0xC0, 6) : code < 0x10000 ? put(0xE0, 12) : put(0xF0, 18);
    return bytes;
}

// Lays the texts of a document out in lines.
class Lines
{
public:
    void start(std::string_view name)
    {
        const Kind kind = kindOf(name);
        hidden_ += kind == Kind::hidden;
        preformatted_ += kind == Kind::preformatted;
        if (kind == Kind::lineBreak)
            endLine(breaks_ + 1);
        else if (kind != Kind::inlined)
            endLine(std::max(breaks_, 1u));
    }

    void end(std::string_view name)
    {
        const Kind kind = kindOf(name);
        // An end without a start hides nothing that is shown.
        hidden_ -= kind == Kind::hidden && hidden_ > 0;
        preformatted_ -= kind == Kind::preformatted && preformatted_ > 0;
        if (kind != Kind::inlined && kind != Kind::lineBreak && kind != Kind::hidden)
            endLine(std::max(breaks_, 1u));
    }

    void text(std::string_view text)
    {
        if (hidden_)
            return;
        while (!text.empty()) {
            const auto plain = std::find_if(text.begin(), text.end(), isSpecial) - text.begin();
            if (plain > 0) {
                begin();
                out_.append(text.substr(0, static_cast<std::size_t>(plain)));
                text.remove_prefix(static_cast<std::size_t>(plain));
            } else {
                text.remove_prefix(special(text));
            }
        }
    }

    std::string take() { return std::move(out_); }

private:
    static bool isSpace(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r' || c == '\f'; }
    static bool isSpecial(char c) { return isSpace(c) || c == '\xC2' || c == '\0'; }

    // The bytes that it took.
    std::size_t special(std::string_view text)
    {
        const auto second = text.size() > 1 ? static_cast<unsigned char>(text[1]) : 0u;
        if (text[0] == '\xC2' && second >= 0x80 && second <= 0x9F) {
            begin();
            out_ += utf8(kWindows1252[second - 0x80]);
            return 2;
        }
        if (!isSpace(text[0])) {
            begin();
            out_ += text[0];
            return 1;
        }
        if (preformatted_ && text[0] == '\n') {
            endLine(breaks_ + 1);
        } else if (preformatted_ && text[0] != '\r') {
            begin();
            out_ += text[0];
        } else {
            space_ = true;
        }
        return 1;
    }

    void endLine(unsigned breaks)
    {
        if (out_.empty() || hidden_)
            return;
        breaks_ = breaks;
        space_ = false;
    }

    // Something visible follows: writes what stands between it and the last.
    void begin()
    {
        if (breaks_ > 0)
            out_.append(breaks_, '\n');
        else if (space_ && !out_.empty())
            out_ += ' ';
        breaks_ = 0;
        space_ = false;
    }

    std::string out_;
    unsigned breaks_ = 0; // line ends that are due
    bool space_ = false; // a blank that is due
    unsigned hidden_ = 0; // elements that are open
    unsigned preformatted_ = 0;
};

std::string_view viewOf(const xmlChar* name)
{
    return reinterpret_cast<const char*>(name);
}

// Where a piece of `text` of at most so many bytes may end without cutting a character.
std::size_t cutAt(std::string_view text, std::size_t most)
{
    if (text.size() <= most)
        return text.size();
    const auto isInside = [&](std::size_t at) { return (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80; };
    for (std::size_t at = most; at + 3 >= most && at > 0; --at) {
        if (!isInside(at))
            return at;
    }
    return most; // no UTF-8
}

// Hands a document to the reader. The reader knows the named references of HTML 4 alone, so all go as what they stand
// for: numbers where that could be taken for markup.
class Feeder
{
public:
    explicit Feeder(htmlParserCtxtPtr context)
        : context_(context)
    { }

    void feed(std::string_view html)
    {
        while (!html.empty()) {
            const auto plain = std::min(html.find('&'), html.size());
            append(html.substr(0, plain));
            html.remove_prefix(plain);
            if (html.empty())
                break;
            const auto found = namedReferenceAt(html.substr(1));
            if (found) {
                append(found->reference.first);
                append(found->reference.second);
            } else {
                append("&");
            }
            html.remove_prefix(found ? 1 + found->length : 1);
        }
        flush();
    }

private:
    void append(std::string_view text)
    {
        while (!text.empty()) {
            const auto length = cutAt(text, kPiece);
            piece_ += text.substr(0, length);
            text.remove_prefix(length);
            if (piece_.size() >= kPiece)
                flush();
        }
    }

    void append(char32_t code)
    {
        if (code == 0)
            return;
        if (code < 0x80)
            return append("&#" + std::to_string(static_cast<unsigned>(code)) + ";");
        append(utf8(code));
    }

    void flush()
    {
        htmlParseChunk(context_, piece_.data(), static_cast<int>(piece_.size()), 0);
        piece_.clear();
    }

    htmlParserCtxtPtr context_;
    std::string piece_;
};

htmlSAXHandler handlers()
{
    htmlSAXHandler handlers{};
    handlers.startElement
        = [](void* lines, const xmlChar* name, const xmlChar**) { static_cast<Lines*>(lines)->start(viewOf(name)); };
    handlers.endElement = [](void* lines, const xmlChar* name) { static_cast<Lines*>(lines)->end(viewOf(name)); };
    handlers.characters = [](void* lines, const xmlChar* text, int length) {
        static_cast<Lines*>(lines)->text({reinterpret_cast<const char*>(text), static_cast<std::size_t>(length)});
    };
    handlers.ignorableWhitespace = handlers.characters;
    return handlers;
}

} // namespace

std::optional<NSAttributedString> NSAttributedString::initWithHTML(std::string_view html)
{
    static std::once_flag once;
    std::call_once(once, xmlInitParser);
    Lines lines;
    auto sax = handlers();
    const auto context = htmlCreatePushParserCtxt(&sax, &lines, nullptr, 0, nullptr, XML_CHAR_ENCODING_UTF8);
    if (!context)
        return std::nullopt;
    // The text is decoded already, whatever it says of that.
    htmlCtxtUseOptions(context,
        HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING | HTML_PARSE_NONET | HTML_PARSE_IGNORE_ENC);
    Feeder(context).feed(html.substr(0, cutAt(html, kMostHTML)));
    htmlParseChunk(context, nullptr, 0, 1);
    htmlFreeParserCtxt(context);
    return NSAttributedString(lines.take());
}

} // namespace vitrel
