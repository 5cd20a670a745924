#include "FeedKit/xml/LenientNames.h"

#include "base/Text.h"

#include <algorithm>
#include <array>

namespace FeedKit {

namespace {

// The families of elements that a feed's own namespace stands for; no prefix looks so.
constexpr std::string_view kAtom = "(atom)", kAtom03 = "(atom03)", kRSS1 = "(rss1)", kRSS2 = "(rss2)",
                           kPodcast = "(podcast)";

struct Namespace {
    std::string_view address; // in lower case, without scheme and trailing slash
    std::string_view meaning;
};

// Each from the public document of its namespace, with the forms that feeds write it in.
constexpr Namespace kNamespaces[] = {
    {"purl.org/dc/elements/1.1", "dc"},
    {"purl.org/dc/elements/1.0", "dc"},
    {"purl.org/rss/1.0/modules/content", "content"},
    {"purl.org/rss/1.0/modules/syndication", "sy"},
    {"www.itunes.com/dtds/podcast-1.0.dtd", "itunes"},
    {"search.yahoo.com/mrss", "media"},
    {"www.rssboard.org/media-rss", "media"},
    {"podcastindex.org/namespace/1.0", kPodcast},
    {"github.com/podcastindex-org/podcast-namespace/blob/main/docs/1.0.md", kPodcast},
    {"www.georss.org/georss", "georss"},
    {"www.opengis.net/gml", "gml"},
    {"www.w3.org/1999/02/22-rdf-syntax-ns#", "rdf"},
    {"www.w3.org/2005/atom", kAtom},
    {"purl.org/atom/ns#", kAtom03},
    {"purl.org/rss/1.0", kRSS1},
    {"my.netscape.com/rdf/simple/0.9", kRSS1},
    {"channel.netscape.com/rdf/simple/0.9", kRSS1},
    {"backend.userland.com/rss2", kRSS2},
    {"blogs.law.harvard.edu/tech/rss", kRSS2},
};

constexpr std::string_view kUsualPrefixes[] = {"dc", "content", "sy", "itunes", "media", "georss", "gml", "rdf"};

// Prefixes beyond them are looked up each time.
constexpr std::size_t kMostMeanings = 64;
// Longer ones are of no namespace that is known.
constexpr std::size_t kMostAddress = 100;

std::string_view meaningOfAddress(std::string_view address)
{
    if (address.empty() || address.size() > kMostAddress)
        return {};
    const auto lower = vitrel::asciiLowercase(vitrel::trimmed(address));
    std::string_view view = lower;
    for (const std::string_view scheme : {"http://", "https://"}) {
        if (view.starts_with(scheme))
            view.remove_prefix(scheme.size());
    }
    if (view.ends_with('/'))
        view.remove_suffix(1);
    const auto found = std::find_if(
        std::begin(kNamespaces), std::end(kNamespaces), [&](const Namespace& one) { return one.address == view; });
    return found == std::end(kNamespaces) ? std::string_view() : found->meaning;
}

bool isUsualPrefix(std::string_view prefix)
{
    return std::find(std::begin(kUsualPrefixes), std::end(kUsualPrefixes), prefix) != std::end(kUsualPrefixes);
}

// The names of RSS that aren't all in lower case.
constexpr std::string_view kCapitals[]
    = {"pubDate", "lastBuildDate", "managingEditor", "webMaster", "textInput", "skipHours", "skipDays"};

struct Renamed {
    std::string_view former;
    std::string_view now;
};
// Atom 0.3 (draft-ietf-atompub-format's predecessor, December 2003) and what RFC 4287 has in their place.
constexpr Renamed kAtom03Names[]
    = {{"tagline", "subtitle"}, {"issued", "published"}, {"modified", "updated"}, {"copyright", "rights"}};

} // namespace

std::string_view LenientNames::forgiven(Forgivable what, std::string_view written, std::string_view meant)
{
    forgivings_.add(what, [&] {
        return "<" + std::string(written.substr(0, kMostAddress)) + "> at line " + std::to_string(parser_.line());
    });
    return meant;
}

std::string_view LenientNames::meaningOf(std::string_view prefix)
{
    if (meaningsVersion_ != namespaces_.version()) {
        meanings_.clear();
        meaningsVersion_ = namespaces_.version();
    }
    const auto found = std::find_if(
        meanings_.begin(), meanings_.end(), [&](const Meaning& meaning) { return meaning.prefix == prefix; });
    if (found != meanings_.end())
        return found->meant;
    const auto meant = meaningOfAddress(namespaces_.uriOf(prefix));
    if (meanings_.size() < kMostMeanings)
        meanings_.push_back({std::string(prefix), meant});
    return meant;
}

std::string_view LenientNames::startElement(std::string_view name, const ElementAttributes& attributes)
{
    ++depth_;
    isGenerator_ = false;
    namespaces_.open(attributes);
    if (!isRootKnown_)
        return rootName(name);
    if (forgivings_.may(Forgivable::prefixes))
        name = byNamespace(name);
    if (isOddCase_)
        name = inUsualCase(name);
    if (vocabulary_ == Vocabulary::atom03)
        name = inAtom10(name);
    return name;
}

void LenientNames::endElement()
{
    namespaces_.close();
    if (authorDepth_ == depth_)
        authorDepth_ = 0;
    --depth_;
}

// What isn't a feed's root keeps its name: the parser looks for the root at any depth.
std::string_view LenientNames::rootName(std::string_view name)
{
    const QualifiedName parts(name);
    const auto prefix = parts.prefix;
    const auto local = vitrel::asciiLowercase(parts.local);
    const auto meaning = meaningOf(prefix);
    std::string_view meant;
    // A prefix that isn't declared is nobody else's either.
    if (local == "rdf" && (prefix == "rdf" || meaning == "rdf" || namespaces_.uriOf(prefix).empty())) {
        meant = "rdf:RDF";
        vocabulary_ = Vocabulary::rdf;
    } else if (local == "feed" && (prefix.empty() || meaning == kAtom || meaning == kAtom03)) {
        meant = "feed";
        vocabulary_ = meaning == kAtom03 && forgivings_.may(Forgivable::atom03) ? Vocabulary::atom03 : Vocabulary::atom;
    } else if (local == "rss" && (prefix.empty() || meaning == kRSS2)) {
        meant = "rss";
        vocabulary_ = Vocabulary::rss;
    }
    if (meant.empty() || (meant != name && !forgivings_.may(Forgivable::prefixes)))
        return name;
    isRootKnown_ = true;
    rootDefault_ = namespaces_.uriOf("");
    if (meant == name)
        return meant;
    isOddCase_ = prefix.empty() && meant != "rdf:RDF";
    return forgiven(Forgivable::prefixes, name, meant);
}

// Whether elements of such a namespace are the feed's own, which have no prefix in the tables.
bool LenientNames::isOwn(std::string_view meaning) const
{
    switch (vocabulary_) {
    case Vocabulary::atom:
        return meaning == kAtom;
    case Vocabulary::atom03:
        return meaning == kAtom03;
    case Vocabulary::rdf:
        return meaning == kRSS1;
    case Vocabulary::rss:
        return meaning == kRSS2;
    case Vocabulary::other:
        return false;
    }
    return false;
}

// Under which elements of a namespace stand in the tables; empty if they don't.
std::string_view LenientNames::usualPrefix(std::string_view meaning) const
{
    if (!meaning.starts_with('('))
        return meaning;
    if (extent_ == Extent::model || vocabulary_ != Vocabulary::rss)
        return {};
    return meaning == kAtom ? "atom" : meaning == kPodcast ? "podcast" : std::string_view();
}

std::string_view LenientNames::byNamespace(std::string_view name)
{
    const QualifiedName parts(name);
    if (isUsualPrefix(parts.prefix))
        return name;
    const auto meaning = meaningOf(parts.prefix);
    if (meaning.empty())
        return name;
    if (isOwn(meaning))
        return parts.prefix.empty() ? name : forgiven(Forgivable::prefixes, name, parts.local);
    // A default namespace that the root declares is what the author took the feed's own elements to be in.
    const bool isDefaultOfAll = parts.prefix.empty() && namespaces_.uriOf("") == rootDefault_;
    const auto usual = usualPrefix(meaning);
    if (usual.empty() || usual == parts.prefix || isDefaultOfAll)
        return name;
    name_.assign(usual).append(":").append(parts.local);
    return forgiven(Forgivable::prefixes, name, name_);
}

std::string_view LenientNames::inUsualCase(std::string_view name)
{
    if (name.find(':') != name.npos)
        return name;
    auto lower = vitrel::asciiLowercase(name);
    for (const auto capital : kCapitals) {
        if (lower == vitrel::asciiLowercase(capital))
            lower = capital;
    }
    if (lower == name)
        return name;
    name_ = std::move(lower);
    return forgiven(Forgivable::prefixes, name, name_);
}

std::string_view LenientNames::inAtom10(std::string_view name)
{
    if (name == "author" || name == "contributor")
        authorDepth_ = depth_;
    if (authorDepth_ && name == "url" && depth_ == authorDepth_ + 1)
        return forgiven(Forgivable::atom03, name, "uri");
    isGenerator_ = name == "generator";
    const auto found = std::find_if(
        std::begin(kAtom03Names), std::end(kAtom03Names), [&](const Renamed& one) { return one.former == name; });
    return found == std::end(kAtom03Names) ? name : forgiven(Forgivable::atom03, name, found->now);
}

ElementAttributes LenientNames::attributes(const ElementAttributes& given)
{
    if (!isGenerator_)
        return given;
    attributes_.clear();
    given.forEach([&](std::string_view name, std::string_view value) {
        attributes_.push_back(name == "url" ? "uri" : name.data());
        attributes_.push_back(value.data());
    });
    attributes_.push_back(nullptr);
    return ElementAttributes(attributes_.data());
}

} // namespace FeedKit
