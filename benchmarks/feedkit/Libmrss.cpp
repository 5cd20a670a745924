#include "benchmarks/feedkit/Peers.h"

#ifdef BENCH_HAS_MRSS
#include <mrss.h>
#endif

namespace bench {

#ifdef BENCH_HAS_MRSS

namespace {

class Libmrss final : public Peer
{
public:
    std::string name() const override { return "libmrss"; }
    void parse(const std::string& document) override
    {
        if (mrss_t* feed = run(document))
            kept_.push_back(feed);
    }
    void forget() override
    {
        for (mrss_t* feed : kept_)
            mrss_free(feed);
        kept_.clear();
    }
    Titles titlesOf(const std::string& document) override
    {
        mrss_t* feed = run(document);
        if (!feed)
            return std::nullopt;
        std::vector<std::string> titles;
        for (const mrss_item_t* item = feed->item; item; item = item->next)
            titles.emplace_back(item->title ? item->title : "");
        mrss_free(feed);
        return titles;
    }

private:
    std::vector<mrss_t*> kept_;

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
