#include "FeedKit/html/Text.h"

#include "FeedKit/basics/Letters.h"
#include "FeedKit/html/References.h"
#include "FeedKit/html/TagScanner.h"

#include <array>

namespace FeedKit {

namespace {

// Sorted.
constexpr std::string_view kBlocks[]
    = {"address", "article", "aside", "blockquote", "body", "caption", "center", "dd", "details", "dialog", "dir",
        "div", "dl", "dt", "fieldset", "figcaption", "figure", "footer", "form", "h1", "h2", "h3", "h4", "h5", "h6",
        "head", "header", "hgroup", "hr", "html", "legend", "li", "main", "menu", "nav", "ol", "optgroup", "option",
        "p", "pre", "search", "section", "summary", "table", "tbody", "tfoot", "thead", "title", "tr", "ul"};
constexpr std::size_t kLongestBlock = 10;
static_assert(std::is_sorted(std::begin(kBlocks), std::end(kBlocks)));

bool isBlock(std::string_view name)
{
    if (name.size() > kLongestBlock)
        return false;
    std::array<char, kLongestBlock> small{};
    std::transform(name.begin(), name.end(), small.begin(), lowercase);
    return std::binary_search(std::begin(kBlocks), std::end(kBlocks), std::string_view(small.data(), name.size()));
}

constexpr bool isBlankHere(char c)
{
    return static_cast<unsigned char>(c) <= ' ' || c == 0x7F;
}

// Gathers words and what stands between them, of which only the strongest shows.
class Lines
{
public:
    explicit Lines(std::size_t atMost) { out_.reserve(atMost); }

    void text(std::string_view text, bool keepsLines)
    {
        for (std::size_t at = 0; at < text.size(); ++at) {
            if (isBlankHere(text[at])) {
                blank_ = true;
                if (keepsLines && text[at] == '\n')
                    breakLine();
            } else if (text.substr(at, kNoBreakSpace.size()) == kNoBreakSpace) {
                blank_ = true;
                ++at;
            } else {
                separate();
                out_ += text[at];
            }
        }
    }
    void blank() { blank_ = true; }
    void beginLine() { breaks_ = std::max(breaks_, 1); }
    void breakLine() { breaks_ = std::min(breaks_ + 1, 2); }

    std::string take() && { return std::move(out_); }

private:
    static constexpr std::string_view kNoBreakSpace = "\u00A0";

    void separate()
    {
        if (!out_.empty() && breaks_ > 0)
            out_.append(static_cast<std::size_t>(breaks_), '\n');
        else if (!out_.empty() && blank_)
            out_ += ' ';
        breaks_ = 0;
        blank_ = false;
    }

    std::string out_;
    int breaks_ = 0;
    bool blank_ = false;
};

} // namespace

std::string textOfHTML(std::string_view html)
{
    using Kind = HTMLPiece::Kind;
    Lines lines(html.size());
    std::string resolved;
    bool isPreformatted = false;
    TagScanner scanner(html);
    while (const auto piece = scanner.next()) {
        if (piece->kind == Kind::text) {
            resolved.clear();
            appendResolved(resolved, piece->text, ReferencePlace::text);
            lines.text(resolved, isPreformatted);
        } else if (piece->isTag("br")) {
            lines.breakLine();
        } else if (piece->isTag("td") || piece->isTag("th")) {
            lines.blank();
        } else if (piece->kind != Kind::hiddenText && isBlock(piece->name)) {
            lines.beginLine();
            if (piece->isTag("pre"))
                isPreformatted = piece->kind == Kind::startTag;
        }
    }
    return std::move(lines).take();
}

std::string lineOfHTML(std::string_view html)
{
    auto text = textOfHTML(html);
    std::size_t kept = 0;
    for (const char c : text) {
        const bool repeatsBlank = c == '\n' && kept > 0 && text[kept - 1] == ' ';
        if (!repeatsBlank)
            text[kept++] = c == '\n' ? ' ' : c;
    }
    text.resize(kept);
    return text;
}

std::string htmlOfText(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        case '\n':
            out += "<br>\n";
            break;
        default:
            out += c;
        }
    }
    return out;
}

} // namespace FeedKit
