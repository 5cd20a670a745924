#include "benchmarks/feedkit/Peers.h"

#ifdef BENCH_HAS_MRSS
#include <mrss.h>
#endif

namespace bench {

#ifdef BENCH_HAS_MRSS

namespace {

using nlohmann::json;

void put(json& to, const char* key, const char* text)
{
    if (text)
        to[key] = text;
}

void putRaw(json& to, const char* key, const char* text)
{
    if (!text || to.contains(key))
        return;
    to[key] = text;
    to["raw"].push_back(key);
}

// Of elements that the library has no field for.
void putTags(json& item, const mrss_tag_t* tag)
{
    for (; tag; tag = tag->next) {
        const std::string name = tag->name ? tag->name : "";
        if (name == "creator")
            putRaw(item, "author", tag->value);
        if (name == "content" || name == "encoded")
            putRaw(item, "content", tag->value);
        if (name == "date" || name == "issued")
            putRaw(item, "dateText", tag->value);
        for (const mrss_attribute_t* attribute = tag->attributes; attribute; attribute = attribute->next) {
            if (attribute->name && std::string(attribute->name) == "url" && name == "thumbnail")
                putRaw(item, "image", attribute->value);
            if (attribute->name && std::string(attribute->name) == "url" && name == "transcript")
                putRaw(item, "transcript", attribute->value);
        }
        putTags(item, tag->children);
    }
}

json itemOf(const mrss_item_t& from)
{
    json item = json::object();
    put(item, "title", from.title);
    put(item, "link", from.link);
    put(item, "content", from.description);
    put(item, "author", from.author);
    put(item, "dateText", from.pubDate); // it reads none
    putTags(item, from.other_tags);
    return item;
}

class Libmrss final : public Peer
{
public:
    std::string name() const override { return "libmrss"; }
    void parse(const std::string& document) override
    {
        if (mrss_t* feed = run(document))
            mrss_free(feed);
    }
    json found(const std::string& document) override
    {
        mrss_t* feed = run(document);
        if (!feed)
            return {};
        json found{{"title", feed->title ? feed->title : ""}, {"items", json::array()}};
        for (const mrss_item_t* item = feed->item; item; item = item->next)
            found["items"].push_back(itemOf(*item));
        mrss_free(feed);
        return found;
    }

private:
    static mrss_t* run(const std::string& document)
    {
        mrss_t* feed = nullptr;
        auto copy = document;
        return mrss_parse_buffer(copy.data(), copy.size(), &feed) == MRSS_OK ? feed : nullptr;
    }
};

} // namespace

Peer* libmrss()
{
    static Libmrss peer;
    return &peer;
}

#else

Peer* libmrss()
{
    return nullptr;
}

#endif

} // namespace bench
