#include "FeedKit/html/TagScanner.h"

#include "FeedKit/basics/Letters.h"
#include "FeedKit/html/References.h"

namespace FeedKit {

namespace {

// Elements whose content isn't markup, and isn't shown either.
constexpr std::string_view kHidden[] = {"script", "style", "iframe", "noembed", "noframes"};
// Those whose content is text.
constexpr std::string_view kRaw[] = {"title", "textarea", "xmp"};

template <std::size_t count> bool isAmong(std::string_view name, const std::string_view (&names)[count])
{
    return std::any_of(
        std::begin(names), std::end(names), [&](std::string_view one) { return sameIgnoringCase(name, one); });
}

bool endsName(char c)
{
    return isHTMLSpace(c) || c == '/' || c == '>';
}

template <class Ends> std::size_t positionOf(std::string_view text, std::size_t from, Ends&& ends)
{
    while (from < text.size() && !ends(text[from]))
        ++from;
    return from;
}

struct AttributeView {
    std::string_view name;
    std::string_view value; // without quotes
};

// The attribute that begins in `text` at or behind `at`, which moves behind it; absent at ">", where `at` then stands,
// or at the end.
std::optional<AttributeView> nextAttribute(std::string_view text, std::size_t& at)
{
    const auto passSpace = [&] { at = positionOf(text, at, [](char c) { return !isHTMLSpace(c); }); };
    at = positionOf(text, at, [](char c) { return !isHTMLSpace(c) && c != '/'; });
    if (at >= text.size() || text[at] == '>')
        return std::nullopt;
    // A "=" at the beginning is part of the name, so that each call gets on.
    const auto begin = at;
    at = positionOf(text, at + 1, [](char c) { return endsName(c) || c == '='; });
    AttributeView found{text.substr(begin, at - begin), {}};
    passSpace();
    if (at >= text.size() || text[at] != '=')
        return found;
    ++at;
    passSpace();
    if (at >= text.size() || text[at] == '>')
        return found;
    const char quote = text[at];
    if (quote == '"' || quote == '\'') {
        const auto end = text.find(quote, at + 1);
        found.value = text.substr(at + 1, end == text.npos ? end : end - at - 1);
        at = end == text.npos ? text.size() : end + 1;
    } else {
        const auto end = positionOf(text, at, [](char c) { return isHTMLSpace(c) || c == '>'; });
        found.value = text.substr(at, end - at);
        at = end;
    }
    return found;
}

} // namespace

bool HTMLPiece::isTag(std::string_view lowercaseName) const
{
    return (kind == Kind::startTag || kind == Kind::endTag) && sameIgnoringCase(name, lowercaseName);
}

std::optional<std::string> HTMLPiece::attribute(std::string_view lowercaseName) const
{
    std::size_t at = 0;
    while (const auto found = nextAttribute(attributes, at)) {
        if (!sameIgnoringCase(found->name, lowercaseName))
            continue;
        std::string value;
        appendResolved(value, found->value, ReferencePlace::attribute);
        return value;
    }
    return std::nullopt;
}

std::optional<HTMLPiece> TagScanner::next()
{
    using Kind = HTMLPiece::Kind;
    while (!rest_.empty()) {
        if (!rawName_.empty()) {
            const auto end = endOfRawText();
            const HTMLPiece piece{
                isAmong(rawName_, kHidden) ? Kind::hiddenText : Kind::text, rest_.substr(0, end), {}, {}};
            rest_.remove_prefix(end);
            rawName_ = {};
            if (!piece.text.empty())
                return piece;
            continue;
        }
        if (auto tag = nextTag())
            return tag;
        // Text goes to where something begins that isn't; "<" alone doesn't.
        std::size_t end = 0;
        for (; end < rest_.size(); ++end) {
            end = std::min(rest_.find('<', end), rest_.size());
            const char next = end + 1 < rest_.size() ? rest_[end + 1] : ' ';
            if (isASCIILetter(next) || next == '/' || next == '!' || next == '?')
                break;
        }
        end = std::min(end, rest_.size());
        if (end == 0) {
            passOver();
            continue;
        }
        const HTMLPiece piece{Kind::text, rest_.substr(0, end), {}, {}};
        rest_.remove_prefix(end);
        return piece;
    }
    return std::nullopt;
}

std::optional<HTMLPiece> TagScanner::nextTag()
{
    using Kind = HTMLPiece::Kind;
    const bool isEnd = rest_.starts_with("</");
    const std::size_t begin = isEnd ? 2 : 1;
    if (rest_[0] != '<' || begin >= rest_.size() || !isASCIILetter(rest_[begin]))
        return std::nullopt;
    const auto nameEnd = positionOf(rest_, begin, endsName);
    auto at = nameEnd;
    while (nextAttribute(rest_, at)) { }
    if (at >= rest_.size()) {
        rest_ = {};
        return std::nullopt;
    }
    HTMLPiece tag{isEnd ? Kind::endTag : Kind::startTag, rest_.substr(1, at - 1), rest_.substr(begin, nameEnd - begin),
        rest_.substr(nameEnd, at - nameEnd)};
    rest_.remove_prefix(at + 1);
    if (!isEnd && (isAmong(tag.name, kHidden) || isAmong(tag.name, kRaw)))
        rawName_ = tag.name;
    return tag;
}

void TagScanner::passOver()
{
    std::size_t end = 0;
    if (rest_.starts_with("<!--")) {
        // "<!-->" and "<!--->" are whole comments.
        end = rest_.find("-->", 2);
        const auto otherEnd = rest_.substr(0, end).find("--!>", 4);
        end = otherEnd != rest_.npos ? otherEnd + 4 : end == rest_.npos ? end : end + 3;
    } else {
        end = rest_.find('>');
        end = end == rest_.npos ? end : end + 1;
    }
    rest_.remove_prefix(std::min(end, rest_.size()));
}

// Where the end tag of the raw element begins, or the end of all.
std::size_t TagScanner::endOfRawText() const
{
    for (auto at = rest_.find("</"); at != rest_.npos; at = rest_.find("</", at + 2)) {
        const auto behind = at + 2 + rawName_.size();
        if (behind >= rest_.size() || !endsName(rest_[behind]))
            continue;
        if (sameIgnoringCase(rest_.substr(at + 2, rawName_.size()), rawName_))
            return at;
    }
    return rest_.size();
}

} // namespace FeedKit
