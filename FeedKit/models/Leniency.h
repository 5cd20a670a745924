#pragma once

#include "FeedKit/basics/Export.h"
#include "FeedKit/models/Feed.h"
#include "FeedKit/models/ParserError.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What a lenient reading forgives, and what it has forgiven. Values; any thread.
namespace FeedKit {

// The faults of documents that can be forgiven; docs/feedkit-leniency.md has an example of each.
enum class Forgivable {
    entities, // names of HTML's characters that no DTD declares: &nbsp;
    ampersands, // "&", "<" and "]]>" that mark nothing up
    charset, // bytes that aren't in the encoding that the document says or implies
    characters, // characters that XML forbids
    junkAhead, // text ahead of the document
    brokenOff, // documents that end too early, or from some place on make no sense
    prefixes, // namespaces under another prefix than the usual, and names of another case
    atom03, // Atom 0.3, the draft that came before RFC 4287
    rss090, // items beside the channel, or without one
    dates, // dates in no form that the standards know
    jsonTypes, // JSON values of another type than the key's
    jsonVersion, // JSON Feed 1.1
    tags, // elements that aren't closed, and end tags that close none
};
inline constexpr std::size_t kForgivables = 13;

// The fault's name as it stands above.
FEEDKIT_API std::string_view rawValue(Forgivable what);
// Letter for letter; absent for anything else.
FEEDKIT_API std::optional<Forgivable> makeForgivable(std::string_view text);

// A set of faults that are to be forgiven.
class Leniency
{
public:
    static constexpr Leniency none() { return Leniency(0); }
    static constexpr Leniency all() { return Leniency((1u << kForgivables) - 1); }

    constexpr Leniency() = default;
    constexpr Leniency with(Forgivable what) const { return Leniency(bits_ | bit(what)); }
    constexpr Leniency without(Forgivable what) const { return Leniency(bits_ & ~bit(what)); }
    constexpr bool has(Forgivable what) const { return bits_ & bit(what); }
    constexpr bool empty() const { return bits_ == 0; }

    friend constexpr bool operator==(const Leniency&, const Leniency&) = default;

private:
    explicit constexpr Leniency(std::uint32_t bits)
        : bits_(bits)
    { }
    static constexpr std::uint32_t bit(Forgivable what) { return std::uint32_t{1} << static_cast<unsigned>(what); }

    std::uint32_t bits_ = 0;
};

struct Forgiven {
    Forgivable what;
    std::size_t count = 0; // how often
    std::string first; // the first of them, in words: "&nbsp; at line 3"

    friend bool operator==(const Forgiven&, const Forgiven&) = default;
};

// A feed, and what had to be forgiven for it.
struct Reading {
    Feed feed;
    std::vector<Forgiven> forgiven = {}; // each fault at most once, in the order of Forgivable
    std::optional<ParserError> brokeOff = std::nullopt; // why the document wasn't read to its end

    friend bool operator==(const Reading&, const Reading&) = default;
};

} // namespace FeedKit
