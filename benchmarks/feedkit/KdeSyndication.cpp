#include "benchmarks/feedkit/Peers.h"

#ifdef BENCH_HAS_SYNDICATION
#include <Syndication/DocumentSource>
#include <Syndication/Feed>
#include <Syndication/Item>
#include <Syndication/ParserCollection>
#endif

namespace bench {

#ifdef BENCH_HAS_SYNDICATION

namespace {

class KdeSyndication final : public Peer
{
public:
    std::string name() const override { return "KDE Syndication"; }
    void parse(const std::string& document) override { kept_.push_back(run(document)); }
    void forget() override { kept_.clear(); }
    Titles titlesOf(const std::string& document) override
    {
        const auto feed = run(document);
        if (!feed)
            return std::nullopt;
        std::vector<std::string> titles;
        for (const auto& item : feed->items())
            titles.push_back(item->title().toStdString());
        return titles;
    }

private:
    std::vector<Syndication::FeedPtr> kept_;

    static Syndication::FeedPtr run(const std::string& document)
    {
        const QByteArray bytes(document.data(), static_cast<int>(document.size()));
        return Syndication::parserCollection()->parse(
            Syndication::DocumentSource(bytes, QStringLiteral("https://example.org/")));
    }
};

} // namespace

Peer* kdeSyndication()
{
    static KdeSyndication peer;
    return &peer;
}

#else

Peer* kdeSyndication()
{
    return nullptr;
}

#endif

} // namespace bench
