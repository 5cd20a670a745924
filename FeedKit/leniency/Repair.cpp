#include "FeedKit/leniency/Repair.h"

#include "FeedKit/html/Characters.h"
#include "base/Text.h"

#include <algorithm>
#include <charconv>
#include <set>
#include <unicode/utf8.h>
#include <vector>

namespace FeedKit {

namespace {

// How far into a document its beginning is looked for.
constexpr std::size_t kMostJunk = 64 * 1024;
// The longest reference that can mean something.
constexpr std::size_t kMostReference = 40;
// So deep tags are matched; whatever is deeper is no feed.
constexpr std::size_t kMostDepth = 10'000;
// How many elements one end tag may close.
constexpr std::size_t kMostClosed = 64;
constexpr std::size_t kMostEntities = 1000; // as many as a document may declare

bool startsName(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':'
        || static_cast<unsigned char>(c) >= 0x80;
}
bool isOfName(char c)
{
    return startsName(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}
bool isName(std::string_view text)
{
    return !text.empty() && startsName(text[0]) && std::all_of(text.begin(), text.end(), isOfName);
}

// XML 1.0, production 2.
bool isCharacter(std::uint32_t code)
{
    return code == 0x9 || code == 0xA || code == 0xD || (code >= 0x20 && code <= 0xD7FF)
        || (code >= 0xE000 && code <= 0xFFFD) || (code >= 0x10000 && code <= 0x10FFFF);
}

// The name of an element whose tag begins `text`, without its prefix; the root of each kind of feed is known by it.
bool startsRoot(std::string_view text)
{
    const auto end = text.find_first_of(" \t\r\n/>", 1);
    if (end == text.npos || end > kMostReference)
        return false;
    const auto name = vitrel::asciiLowercase(text.substr(1, end - 1));
    const auto local = std::string_view(name).substr(name.find(':') + 1);
    return local == "rss" || local == "feed" || local == "rdf";
}

// White space, comments and processing instructions alone, which may precede a root.
bool isProlog(std::string_view text)
{
    for (;;) {
        text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
        const std::string_view end = text.starts_with("<!--") ? "-->" : text.starts_with("<?") ? "?>" : "";
        if (end.empty())
            return text.empty();
        const auto at = text.find(end, 2);
        if (at == text.npos)
            return false;
        text.remove_prefix(at + end.size());
    }
}

class Repairer
{
public:
    Repairer(std::string_view text, Forgivings& forgivings)
        : in_(text)
        , forgivings_(forgivings)
        , mostOut_(text.size() + text.size() / 2 + kMostGrowth)
    { }

    std::optional<std::string> run()
    {
        out_.reserve(in_.size() + in_.size() / 16);
        skipAhead();
        while (at_ < in_.size() && out_.size() <= mostOut_) {
            if (in_[at_] == '<')
                markup();
            else
                textCharacter();
        }
        copyTo(at_);
        return out_.size() <= mostOut_ ? std::optional(std::move(out_)) : std::nullopt;
    }

private:
    bool isAhead(std::string_view wanted) const { return in_.compare(at_, wanted.size(), wanted) == 0; }
    // What has been passed over goes out as it is.
    void copyTo(std::size_t end)
    {
        out_.append(in_.substr(from_, end - from_));
        from_ = end;
    }
    void replace(std::size_t length, std::string_view by)
    {
        copyTo(at_);
        out_.append(by);
        at_ += length;
        from_ = at_;
    }
    // Counts a fault that begins here. False if it isn't to be forgiven.
    bool forgive(Forgivable what, std::size_t length, std::string_view also = {})
    {
        if (!forgivings_.may(what))
            return false;
        forgivings_.add(what, [&] {
            const auto line = 1 + std::count(in_.begin(), in_.begin() + static_cast<std::ptrdiff_t>(at_), '\n');
            const auto shown = also.empty() ? in_.substr(at_, length) : also;
            return std::string(shown) + " at line " + std::to_string(line);
        });
        return true;
    }
    // Line ends stay, so that what is told of lines is true.
    std::string linesIn(std::size_t end) const
    {
        return std::string(static_cast<std::size_t>(std::count(in_.begin() + static_cast<std::ptrdiff_t>(at_),
                               in_.begin() + static_cast<std::ptrdiff_t>(end), '\n')),
            '\n');
    }
    // Behind the next `mark`, or the end.
    std::size_t behind(std::string_view mark, std::size_t from) const
    {
        const auto at = in_.find(mark, from);
        return at == in_.npos ? in_.size() : at + mark.size();
    }

    void skipAhead()
    {
        const auto start = startOfFeed(in_);
        if (start != 0 && start != in_.npos && forgive(Forgivable::junkAhead, 0, "text ahead of the document"))
            replace(start, linesIn(start));
    }

    void markup()
    {
        const char next = at_ + 1 < in_.size() ? in_[at_ + 1] : '\0';
        if (isAhead("<!--"))
            comment();
        else if (isAhead("<![CDATA["))
            passOver(behind("]]>", at_ + 9));
        else if (isAhead("<!DOCTYPE"))
            documentType();
        else if (next == '?')
            instruction();
        else if (next == '/' && at_ + 2 < in_.size() && startsName(in_[at_ + 2]))
            endTag();
        else if (startsName(next))
            startTag();
        else if (forgive(Forgivable::ampersands, 1))
            replace(1, "&lt;");
        else
            ++at_;
    }

    // A run that isn't changed but for forbidden characters.
    void passOver(std::size_t end)
    {
        while (at_ < end)
            character();
    }
    // One character that isn't markup.
    void character()
    {
        const auto byte = static_cast<unsigned char>(in_[at_]);
        if (byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r') {
            if (forgive(Forgivable::characters, 0, "a control character"))
                return replace(1, {});
        } else if (byte == 0xEF && (isAhead("\uFFFE") || isAhead("\uFFFF"))) {
            if (forgive(Forgivable::characters, 0, "a character that is none"))
                return replace(3, {});
        }
        ++at_;
    }
    void textCharacter()
    {
        if (in_[at_] == '&')
            return reference(in_.size());
        if (in_[at_] == ']' && isAhead("]]>") && forgive(Forgivable::ampersands, 3))
            return replace(3, "]]&gt;");
        character();
    }

    // Two hyphens may not stand in one.
    void comment()
    {
        const auto end = behind("-->", at_ + 4);
        const bool isWhole = in_.substr(0, end).ends_with("-->") && end >= at_ + 7;
        const auto inside = isWhole ? in_.substr(at_ + 4, end - at_ - 7) : std::string_view();
        const bool hasHyphens = inside.find("--") != inside.npos || inside.ends_with('-');
        if (hasHyphens && forgive(Forgivable::characters, 0, "two hyphens in a comment"))
            return replace(end - at_, "<!--" + linesIn(end) + "-->");
        passOver(end);
    }

    // The document is UTF-8 by now, whatever its declaration says. Another declaration further on may not be.
    void instruction()
    {
        const auto end = behind("?>", at_);
        const bool isDeclaration = isAhead("<?xml") && at_ + 5 < in_.size() && vitrel::isBlank(in_[at_ + 5]);
        if (!isDeclaration)
            return passOver(end);
        const auto ahead = in_.substr(from_, at_ - from_);
        if (vitrel::trimmed(out_).empty() && vitrel::trimmed(ahead).empty())
            return replace(end - at_, "<?xml version=\"1.0\"?>" + linesIn(end));
        if (forgive(Forgivable::junkAhead, 0, "an XML declaration"))
            return replace(end - at_, linesIn(end));
        at_ = end;
    }

    // Up to its end, which quotes and comments may hide; the entities that it declares are the document's own.
    void documentType()
    {
        bool inSubset = false;
        char quote = '\0';
        auto at = at_ + 9;
        for (; at < in_.size(); ++at) {
            const char c = in_[at];
            if (quote) {
                quote = c == quote ? '\0' : quote;
            } else if (in_.compare(at, 4, "<!--") == 0) {
                at = behind("-->", at + 4) - 1;
            } else if (in_.compare(at, 8, "<!ENTITY") == 0) {
                declare(at + 8);
            } else if (c == '"' || c == '\'') {
                quote = c;
            } else if (c == '[' || c == ']') {
                inSubset = c == '[';
            } else if (c == '>' && !inSubset) {
                ++at;
                break;
            }
        }
        passOver(std::min(at, in_.size()));
    }
    void declare(std::size_t at)
    {
        while (at < in_.size() && vitrel::isBlank(in_[at]))
            ++at;
        const auto from = at;
        while (at < in_.size() && at - from <= kMostReference && isOfName(in_[at]))
            ++at;
        if (at > from && declared_.size() < kMostEntities)
            declared_.emplace(in_.substr(from, at - from));
    }

    std::string_view nameAt(std::size_t at) const
    {
        auto end = at;
        while (end < in_.size() && isOfName(in_[end]))
            ++end;
        return in_.substr(at, end - at);
    }

    // Closes what is open within its element; without one it goes.
    void endTag()
    {
        const auto name = nameAt(at_ + 2);
        const auto end = behind(">", at_);
        if (in_[end - 1] != '>')
            return passOver(end);
        if (open_.empty() || open_.back() != name) {
            if (const auto mended = closing(name);
                mended && forgive(Forgivable::tags, std::min(name.size() + 3, end - at_)))
                return replace(end - at_, *mended + linesIn(end));
        }
        if (!open_.empty())
            open_.pop_back();
        passOver(end);
    }
    // What stands in the place of an end tag that doesn't close the innermost element; absent if that isn't known.
    std::optional<std::string> closing(std::string_view name)
    {
        if (isTooDeep_ || !forgivings_.may(Forgivable::tags))
            return std::nullopt;
        const auto lower = vitrel::asciiLowercase(name);
        const auto most = std::min(open_.size(), kMostClosed);
        for (std::size_t up = 1; up <= most; ++up) {
            const auto candidate = open_[open_.size() - up];
            if (candidate.size() != name.size() || vitrel::asciiLowercase(candidate) != lower)
                continue;
            std::string tags;
            for (; up > 0; --up) {
                tags.append("</").append(open_.back()).append(">");
                open_.pop_back();
            }
            return tags;
        }
        return std::string();
    }

    void startTag()
    {
        const auto name = nameAt(at_ + 1);
        isTooDeep_ = isTooDeep_ || open_.size() >= kMostDepth;
        if (!isTooDeep_)
            open_.push_back(name);
        while (at_ < in_.size() && in_[at_] != '>') {
            const char c = in_[at_];
            if (c != '"' && c != '\'') {
                character();
                continue;
            }
            const auto end = in_.find(c, at_ + 1);
            ++at_;
            value(end == in_.npos ? in_.size() : end);
            at_ += end != in_.npos;
        }
        if (!isTooDeep_ && in_[at_ - 1] == '/')
            open_.pop_back();
        at_ += at_ < in_.size();
    }
    void value(std::size_t end)
    {
        while (at_ < end && out_.size() <= mostOut_) {
            if (in_[at_] == '&')
                reference(end);
            else if (in_[at_] == '<' && forgive(Forgivable::ampersands, 1))
                replace(1, "&lt;");
            else
                character();
        }
        at_ = std::max(at_, end);
    }

    void reference(std::size_t end)
    {
        const auto ahead = in_.substr(at_ + 1, std::min(end - at_ - 1, kMostReference));
        const auto semicolon = ahead.find(';');
        const auto name = semicolon == ahead.npos ? std::string_view() : ahead.substr(0, semicolon);
        if (!(name.starts_with('#') ? numeric(name) : named(name)) && !forgiveAmpersand())
            ++at_;
    }
    bool forgiveAmpersand()
    {
        if (!forgive(Forgivable::ampersands, 1))
            return false;
        replace(1, "&amp;");
        return true;
    }
    // False if it is no reference at all.
    bool numeric(std::string_view name)
    {
        const bool isHexadecimal = name.starts_with("#x");
        const auto digits = name.substr(isHexadecimal ? 2 : 1);
        std::uint32_t code = 0;
        const auto last = digits.data() + digits.size();
        const auto read = std::from_chars(digits.data(), last, code, isHexadecimal ? 16 : 10);
        if (digits.empty() || read.ptr != last || read.ec == std::errc::invalid_argument)
            return false;
        const bool isGood = read.ec == std::errc() && isCharacter(code);
        if (!isGood && forgive(Forgivable::characters, name.size() + 2)) {
            replace(name.size() + 2, "\uFFFD");
            return true;
        }
        at_ += name.size() + 2;
        return true;
    }
    bool named(std::string_view name)
    {
        if (!isName(name))
            return false;
        const bool isXML = name == "amp" || name == "lt" || name == "gt" || name == "quot" || name == "apos";
        const auto characters = isXML ? std::string_view() : htmlCharacters(name);
        const bool isDeclared = isXML || declared_.count(std::string(name));
        if (!isDeclared && characters.empty())
            return false;
        if (!isDeclared && forgive(Forgivable::entities, name.size() + 2))
            replace(name.size() + 2, numericReferences(characters));
        else
            at_ += name.size() + 2;
        return true;
    }
    static std::string numericReferences(std::string_view characters)
    {
        std::string references;
        for (std::int32_t at = 0; at < static_cast<std::int32_t>(characters.size());) {
            UChar32 code = 0;
            U8_NEXT_UNSAFE(characters.data(), at, code);
            references += "&#" + std::to_string(code) + ";";
        }
        return references;
    }

    std::string_view in_;
    Forgivings& forgivings_;
    std::size_t mostOut_;
    std::size_t at_ = 0;
    std::size_t from_ = 0; // what of in_ hasn't gone out yet
    std::string out_;
    std::set<std::string, std::less<>> declared_;
    std::vector<std::string_view> open_; // elements; nothing is known of them once they are nested too deep
    bool isTooDeep_ = false;
};

} // namespace

std::size_t startOfFeed(std::string_view text)
{
    const auto head = text.substr(0, kMostJunk);
    auto declaration = text.npos, type = text.npos;
    for (auto at = head.find('<'); at != head.npos; at = head.find('<', at + 1)) {
        const auto rest = head.substr(at);
        if (declaration == text.npos && rest.starts_with("<?xml") && rest.size() > 5 && vitrel::isBlank(rest[5]))
            declaration = at;
        else if (type == text.npos && rest.starts_with("<!DOCTYPE"))
            type = at;
        else if (startsRoot(rest.substr(0, 2 * kMostReference))) {
            const auto start = std::min({declaration, declaration == text.npos ? type : text.npos, at});
            const bool isFine = declaration == text.npos ? isProlog(head.substr(0, start))
                                                         : vitrel::trimmed(head.substr(0, start)).empty();
            return isFine ? 0 : start;
        }
    }
    return text.npos;
}

std::optional<std::string> repairedXML(std::string_view text, Forgivings& forgivings)
{
    return Repairer(text, forgivings).run();
}

} // namespace FeedKit
