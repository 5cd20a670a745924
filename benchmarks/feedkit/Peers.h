#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

// The other parsers. Each gives what it found, so that no time counts without the result.
namespace bench {

class Peer
{
public:
    virtual ~Peer() = default;
    virtual std::string name() const = 0;
    // What it tells of the document: null if it gives up, else the feed's "title" and an array of "items", each with
    // those of "title", "link", "content", "author", "published" (seconds since 1970), "image" and "transcript" that it
    // has. "raw" lists those that it hands out as mere elements, which its user has to know.
    virtual nlohmann::json found(const std::string& document) = 0;
    // Parses and frees what came of it.
    virtual void parse(const std::string& document) = 0;
};

// FeedKit in all its ways, the strict one first.
std::vector<Peer*> ownPeers();
Peer* bareExpat();
Peer* feedKit();
// Null without the library.
Peer* libmrss();
Peer* kdeSyndication();

inline std::vector<Peer*> allPeers()
{
    std::vector<Peer*> peers{bareExpat()};
    for (Peer* peer : ownPeers())
        peers.push_back(peer);
    for (Peer* peer : {libmrss(), kdeSyndication()}) {
        if (peer)
            peers.push_back(peer);
    }
    return peers;
}

} // namespace bench
