#pragma once

#include <optional>
#include <string>
#include <vector>

// The other parsers. Each gives what it found, so that no time counts without the result.
namespace bench {

// The titles of a document's items, in order; absent if the parser gives up on the document.
using Titles = std::optional<std::vector<std::string>>;

class Peer
{
public:
    virtual ~Peer() = default;
    virtual std::string name() const = 0;
    virtual Titles titlesOf(const std::string& document) = 0;
    // Parses, and keeps what came of it until forget(): freeing isn't timed, for any of them.
    virtual void parse(const std::string& document) = 0;
    virtual void forget() { }
};

// Null if this build has no such library.
Peer* bareExpat();
Peer* feedKit();
Peer* libmrss();
Peer* kdeSyndication();

} // namespace bench
