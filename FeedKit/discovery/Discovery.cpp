#include "FeedKit/discovery/Discovery.h"

#include "FeedKit/basics/Letters.h"
#include "FeedKit/html/TagScanner.h"
#include "FeedKit/html/Text.h"
#include "base/Text.h"

#include <algorithm>
#include <optional>
#include <unordered_set>

namespace FeedKit {

namespace {

using vitrel::asciiLowercase;
using vitrel::trimmed;

constexpr std::size_t kMostFeeds = 64;
// Of one kind, before those are sorted out that can't be fetched: a page of nothing but links stays cheap.
constexpr std::size_t kMostLinks = 4096;
constexpr std::size_t kLongestAddress = 4096;
constexpr std::size_t kLongestTitle = 1024;

constexpr std::string_view kFeedTypes[] = {"application/rss+xml", "application/atom+xml", "application/feed+json",
    "application/rdf+xml", "application/rss", "application/atom", "application/x-rss+xml", "text/rss+xml", "text/rss"};
// Those of feeds, and of much else.
constexpr std::string_view kVagueTypes[] = {"application/json", "application/xml", "text/xml"};
constexpr std::string_view kFeedEnds[] = {".rss", ".atom", ".rdf", ".xml"};
constexpr std::string_view kFeedParts[]
    = {"feed", "feeds", "rss", "atom", "feed.json", "feed.php", "rss.php", "atom.php"};
constexpr std::string_view kSchemes[] = {"http", "https", "file", "feed"};

template <std::size_t count> bool isAmong(std::string_view text, const std::string_view (&those)[count])
{
    return std::find(std::begin(those), std::end(those), text) != std::end(those);
}

// Whether `text` is one of the words of `words`, which are parted by white space.
bool hasWord(std::string_view words, std::string_view text)
{
    for (words = trimmed(words); !words.empty();) {
        const auto end = std::min(words.find_first_of(" \t\n\r\f"), words.size());
        if (sameIgnoringCase(words.substr(0, end), text))
            return true;
        words = trimmed(words.substr(end));
    }
    return false;
}

bool looksLikeAFeed(std::string_view address)
{
    const URL url(asciiLowercase(trimmed(address)));
    auto path = url.path();
    if (path.ends_with("sitemap.xml"))
        return false;
    const auto query = url.query().value_or(std::string_view());
    if (query.starts_with("feed=") || query.find("&feed=") != query.npos)
        return true;
    const bool endsSo = std::any_of(
        std::begin(kFeedEnds), std::end(kFeedEnds), [&](std::string_view end) { return path.ends_with(end); });
    while (!endsSo && !path.empty()) {
        const auto slash = std::min(path.find('/'), path.size());
        if (isAmong(path.substr(0, slash), kFeedParts))
            return true;
        path.remove_prefix(std::min(slash + 1, path.size()));
    }
    return endsSo;
}

struct Candidate {
    std::string address;
    std::string title;
    std::string type;
};

// What a page says of feeds, as written.
class Page
{
public:
    explicit Page(std::string_view html)
    {
        TagScanner scanner(html);
        while (const auto piece = scanner.next())
            take(*piece);
    }

    std::vector<Candidate> declared;
    std::vector<Candidate> guessed;
    std::optional<std::string> base;

private:
    void take(const HTMLPiece& piece)
    {
        using Kind = HTMLPiece::Kind;
        if (piece.kind == Kind::text && anchor_ && anchorText_.size() + piece.text.size() <= kLongestTitle)
            anchorText_ += piece.text;
        else if (piece.isTag("a"))
            takeAnchor(piece);
        else if (piece.kind == Kind::startTag && piece.isTag("link"))
            takeLink(piece);
        else if (piece.kind == Kind::startTag && piece.isTag("base") && !base)
            base = piece.attribute("href");
    }

    void takeLink(const HTMLPiece& piece)
    {
        auto address = piece.attribute("href");
        const auto relation = piece.attribute("rel");
        if (!address || !relation || trimmed(*address).empty() || address->size() > kLongestAddress)
            return;
        const auto said = piece.attribute("type").value_or(std::string());
        Candidate found{*std::move(address), titleOf(piece), asciiLowercase(trimmed(said.substr(0, said.find(';'))))};
        const bool isAlternate = hasWord(*relation, "alternate");
        if ((isAlternate && isAmong(found.type, kFeedTypes)) || hasWord(*relation, "feed"))
            add(declared, std::move(found));
        else if (isAlternate && isAmong(found.type, kVagueTypes)
            && asciiLowercase(found.address + " " + found.title).find("feed") != std::string::npos)
            add(guessed, std::move(found));
    }

    // Of both its tags: the text between them may be its title.
    void takeAnchor(const HTMLPiece& piece)
    {
        if (anchor_)
            guessed[*anchor_].title = lineOfHTML(anchorText_);
        anchor_.reset();
        anchorText_.clear();
        const auto address = piece.attribute("href");
        if (!address || address->size() > kLongestAddress || !looksLikeAFeed(*address))
            return;
        if (add(guessed, {*address, titleOf(piece), {}}) && guessed.back().title.empty())
            anchor_ = guessed.size() - 1;
    }

    static std::string titleOf(const HTMLPiece& piece)
    {
        auto title = piece.attribute("title").value_or(std::string());
        return title.size() <= kLongestTitle ? lineOfHTML(htmlOfText(title)) : std::string();
    }
    static bool add(std::vector<Candidate>& to, Candidate found)
    {
        if (to.size() >= kMostLinks)
            return false;
        to.push_back(std::move(found));
        return true;
    }

    std::optional<std::size_t> anchor_; // that is open and has no title yet, in `guessed`
    std::string anchorText_; // as written
};

} // namespace

std::vector<DiscoveredFeed> discoverFeeds(std::string_view html, const URL& address)
{
    Page page(html);
    URL base = address;
    if (page.base && page.base->size() <= kLongestAddress) {
        if (const auto found = resolved(address, *page.base); found && !found->scheme().empty())
            base = *found;
    }
    std::vector<DiscoveredFeed> feeds;
    std::unordered_set<std::string> known;
    const auto takeAll = [&](std::vector<Candidate>& candidates, bool areGuesses) {
        for (auto& candidate : candidates) {
            const auto url = resolved(base, candidate.address);
            if (feeds.size() >= kMostFeeds || !url)
                continue;
            const auto scheme = asciiLowercase(url->scheme());
            const bool canBeFetched = scheme.empty() ? base.text().empty() : isAmong(scheme, kSchemes);
            if (canBeFetched && known.insert(url->text().substr(0, url->text().find('#'))).second)
                feeds.push_back({*url, std::move(candidate.title), std::move(candidate.type), areGuesses});
        }
    };
    takeAll(page.declared, false);
    takeAll(page.guessed, true);
    return feeds;
}

} // namespace FeedKit
