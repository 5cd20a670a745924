#include "benchmarks/feedkit/Peers.h"

#ifdef BENCH_HAS_SYNDICATION
#include <Syndication/DocumentSource>
#include <Syndication/Feed>
#include <Syndication/Item>
#include <Syndication/ParserCollection>
#include <Syndication/Person>
#include <Syndication/SpecificDocument>

#include <QDomElement>
#include <QMultiMap>
#endif

namespace bench {

#ifdef BENCH_HAS_SYNDICATION

namespace {

using nlohmann::json;

void putRaw(json& to, const char* key, const QString& text)
{
    if (text.isEmpty() || to.contains(key))
        return;
    to[key] = text.toStdString();
    to["raw"].push_back(key);
}

json itemOf(const Syndication::Item& from)
{
    json item{{"title", from.title().toStdString()}, {"link", from.link().toStdString()},
        {"content", (from.content().isEmpty() ? from.description() : from.content()).toStdString()}};
    if (const auto authors = from.authors(); !authors.isEmpty())
        item["author"] = authors.first()->name().toStdString();
    if (const auto date = from.datePublished())
        item["published"] = date;
    // Elements that the library has no member for come as they are, the first of a group within it.
    const auto media = QStringLiteral("http://search.yahoo.com/mrss/");
    const auto elements = from.additionalProperties();
    for (auto at = elements.begin(); at != elements.end(); ++at) {
        const QDomElement& element = at.value();
        const bool group = element.localName() == QLatin1String("group");
        const auto inner
            = group ? element.elementsByTagNameNS(media, QStringLiteral("thumbnail")).at(0).toElement() : element;
        if (inner.localName() == QLatin1String("thumbnail"))
            putRaw(item, "image", inner.attribute(QStringLiteral("url")));
        if (inner.localName() == QLatin1String("transcript"))
            putRaw(item, "transcript", inner.attribute(QStringLiteral("url")));
    }
    return item;
}

class KdeSyndication final : public Peer
{
public:
    std::string name() const override { return "KDE Syndication"; }
    void parse(const std::string& document) override { (void)run(document); }
    json found(const std::string& document) override
    {
        const auto feed = run(document);
        if (!feed || !feed->specificDocument())
            return {};
        json found{{"title", feed->title().toStdString()}, {"items", json::array()}};
        for (const auto& item : feed->items())
            found["items"].push_back(itemOf(*item));
        return found;
    }

private:
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
