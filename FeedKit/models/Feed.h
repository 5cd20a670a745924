#pragma once

#include "FeedKit/models/AtomFeed.h"
#include "FeedKit/models/JSONFeed.h"
#include "FeedKit/models/RSSFeed.h"

#include <memory>
#include <utility>
#include <variant>

namespace FeedKit {

// A parsed document. Its model is shared with whoever holds a copy.
class Feed
{
public:
    enum class Case { atom, rss, json };

    // `feed` isn't null.
    static Feed atom(std::shared_ptr<AtomFeed> feed) { return Feed(std::move(feed)); }
    static Feed rss(std::shared_ptr<RSSFeed> feed) { return Feed(std::move(feed)); }
    static Feed json(JSONFeed feed) { return Feed(std::make_shared<JSONFeed>(std::move(feed))); }

    Case which() const { return static_cast<Case>(payload_.index()); }

    // Each gives the model if the case matches, else null.
    std::shared_ptr<AtomFeed> atomFeed() const { return get<std::shared_ptr<AtomFeed>>(); }
    // Also for an RDF document.
    std::shared_ptr<RSSFeed> rssFeed() const { return get<std::shared_ptr<RSSFeed>>(); }
    std::shared_ptr<const JSONFeed> jsonFeed() const { return get<std::shared_ptr<JSONFeed>>(); }

    friend bool operator==(const Feed& a, const Feed& b)
    {
        return a.payload_.index() == b.payload_.index()
            && std::visit(
                [&](const auto& left) { return *left == **std::get_if<std::decay_t<decltype(left)>>(&b.payload_); },
                a.payload_);
    }

private:
    using Payload = std::variant<std::shared_ptr<AtomFeed>, std::shared_ptr<RSSFeed>, std::shared_ptr<JSONFeed>>;

    explicit Feed(Payload payload)
        : payload_(std::move(payload))
    { }

    template <class Pointer> Pointer get() const
    {
        const auto held = std::get_if<Pointer>(&payload_);
        return held ? *held : nullptr;
    }

    Payload payload_;
};

} // namespace FeedKit
