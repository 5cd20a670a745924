#pragma once

#include "FeedKit/basics/Export.h"
#include "FeedKit/models/AtomFeed.h"
#include "FeedKit/models/ContentNamespace.h"
#include "FeedKit/models/DublinCoreNamespace.h"
#include "FeedKit/models/Fields.h"
#include "FeedKit/models/ITunesNamespace.h"
#include "FeedKit/models/MediaNamespace.h"
#include "FeedKit/models/PodcastNamespace.h"
#include "FeedKit/models/SyndicationNamespace.h"

#include <memory>
#include <string>
#include <vector>

// RSS 2.0 (the RSS Advisory Board's specification, version 2.0.11); an RDF document (RSS 1.0) fills the same model.
// Text is UTF-8 as the document has it, nothing trimmed.
namespace FeedKit {

struct RSSFeedCategory {
    struct Attributes {
        std::optional<std::string> domain;
        FEEDKIT_FIELDS(Attributes, domain)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(RSSFeedCategory, attributes, value)
};

struct RSSFeedCloud {
    struct Attributes {
        std::optional<std::string> domain;
        std::optional<std::int64_t> port;
        std::optional<std::string> path;
        std::optional<std::string> registerProcedure;
        std::optional<std::string> protocolSpecification; // the attribute "protocol"

        static constexpr auto fields()
        {
            return std::make_tuple(Field("domain", &Attributes::domain), Field("port", &Attributes::port),
                Field("path", &Attributes::path), Field("registerProcedure", &Attributes::registerProcedure),
                Field("protocolSpecification", &Attributes::protocolSpecification, "protocol"));
        }
    };
    std::optional<Attributes> attributes;
    FEEDKIT_FIELDS(RSSFeedCloud, attributes)
};

struct RSSFeedImage {
    std::optional<std::string> url;
    std::optional<std::string> title;
    std::optional<std::string> link;
    std::optional<std::int64_t> width; // pixels
    std::optional<std::int64_t> height;
    std::optional<std::string> description;
    FEEDKIT_FIELDS(RSSFeedImage, url, title, link, width, height, description)
};

struct RSSFeedTextInput {
    std::optional<std::string> title;
    std::optional<std::string> description;
    std::optional<std::string> name;
    std::optional<std::string> link;
    FEEDKIT_FIELDS(RSSFeedTextInput, title, description, name, link)
};

enum class RSSFeedSkipDay { monday, tuesday, wednesday, thursday, friday, saturday, sunday };

FEEDKIT_API std::string_view rawValue(RSSFeedSkipDay day);
// In any case of letters; absent for anything but a day's whole English name. Nothing is trimmed.
FEEDKIT_API std::optional<RSSFeedSkipDay> makeRSSFeedSkipDay(std::string_view text);

struct RSSFeedItemCategory {
    struct Attributes {
        std::optional<std::string> domain;
        FEEDKIT_FIELDS(Attributes, domain)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(RSSFeedItemCategory, attributes, value)
};

struct RSSFeedItemEnclosure {
    struct Attributes {
        std::optional<std::string> url;
        std::optional<std::int64_t> length; // bytes
        std::optional<std::string> type;
        FEEDKIT_FIELDS(Attributes, url, length, type)
    };
    std::optional<Attributes> attributes;
    FEEDKIT_FIELDS(RSSFeedItemEnclosure, attributes)
};

struct RSSFeedItemGUID {
    struct Attributes {
        std::optional<bool> isPermaLink;
        FEEDKIT_FIELDS(Attributes, isPermaLink)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(RSSFeedItemGUID, attributes, value)
};

struct RSSFeedItemSource {
    struct Attributes {
        std::optional<std::string> url;
        FEEDKIT_FIELDS(Attributes, url)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(RSSFeedItemSource, attributes, value)
};

// What a parse keeps of an item beyond its own format, if it is asked to.
struct RSSFeedItemMore {
    std::optional<std::string> about; // the item's rdf:about, in RDF
    std::optional<std::vector<std::shared_ptr<RSSFeedItemEnclosure>>> enclosures; // all, the first one included
    std::optional<std::vector<std::shared_ptr<AtomFeedLink>>> links; // atom:link
    std::shared_ptr<PodcastNamespace> podcast;
    std::optional<std::string> base; // the address that relative ones of the item are relative to (XML Base)
    std::optional<std::string> pubDateText; // as it was written
    std::optional<std::string> dcDateText;
    std::optional<std::vector<ExtensionElement>> extensions;

    FEEDKIT_FIELDS(RSSFeedItemMore, about, enclosures, links, podcast, base, pubDateText, dcDateText, extensions)
};

struct RSSFeedItem {
    std::optional<std::string> title;
    std::optional<std::string> link;
    std::optional<std::string> description;
    std::optional<std::string> author;
    std::optional<std::vector<std::shared_ptr<RSSFeedItemCategory>>> categories;
    std::optional<std::string> comments;
    std::shared_ptr<RSSFeedItemEnclosure> enclosure;
    std::shared_ptr<RSSFeedItemGUID> guid;
    std::optional<Date> pubDate;
    std::shared_ptr<RSSFeedItemSource> source;
    std::shared_ptr<DublinCoreNamespace> dublinCore;
    std::shared_ptr<ContentNamespace> content;
    std::shared_ptr<ITunesNamespace> iTunes;
    std::shared_ptr<MediaNamespace> media;
    std::shared_ptr<RSSFeedItemMore> more;

    FEEDKIT_FIELDS(RSSFeedItem, title, link, description, author, categories, comments, enclosure, guid, pubDate,
        source, dublinCore, content, iTunes, media, more)
};

// What a parse keeps of a channel beyond its own format, if it is asked to.
struct RSSFeedMore {
    std::optional<std::vector<std::shared_ptr<AtomFeedLink>>> links; // atom:link
    std::shared_ptr<PodcastNamespace> podcast;
    std::optional<std::string> base; // as an item's
    std::optional<std::string> pubDateText; // as it was written
    std::optional<std::string> lastBuildDateText;
    std::optional<std::string> dcDateText;
    std::optional<std::vector<ExtensionElement>> extensions;

    FEEDKIT_FIELDS(RSSFeedMore, links, podcast, base, pubDateText, lastBuildDateText, dcDateText, extensions)
};

struct RSSFeed {
    std::optional<std::string> title;
    std::optional<std::string> link;
    std::optional<std::string> description;
    std::optional<std::string> language;
    std::optional<std::string> copyright;
    std::optional<std::string> managingEditor;
    std::optional<std::string> webMaster;
    std::optional<Date> pubDate;
    std::optional<Date> lastBuildDate;
    std::optional<std::vector<std::shared_ptr<RSSFeedCategory>>> categories;
    std::optional<std::string> generator;
    std::optional<std::string> docs;
    std::shared_ptr<RSSFeedCloud> cloud;
    std::optional<std::string> rating;
    std::optional<std::int64_t> ttl; // minutes
    std::shared_ptr<RSSFeedImage> image;
    std::shared_ptr<RSSFeedTextInput> textInput;
    std::optional<std::vector<std::int64_t>> skipHours; // 0 to 23, repeats stay
    std::optional<std::vector<RSSFeedSkipDay>> skipDays;
    std::optional<std::vector<std::shared_ptr<RSSFeedItem>>> items;
    std::shared_ptr<DublinCoreNamespace> dublinCore;
    std::shared_ptr<SyndicationNamespace> syndication;
    std::shared_ptr<ITunesNamespace> iTunes;
    std::shared_ptr<RSSFeedMore> more;

    FEEDKIT_FIELDS(RSSFeed, title, link, description, language, copyright, managingEditor, webMaster, pubDate,
        lastBuildDate, categories, generator, docs, cloud, rating, ttl, image, textInput, skipHours, skipDays, items,
        dublinCore, syndication, iTunes, more)
};

} // namespace FeedKit
