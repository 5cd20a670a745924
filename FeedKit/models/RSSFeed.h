#pragma once

#include "FeedKit/models/ContentNamespace.h"
#include "FeedKit/models/DublinCoreNamespace.h"
#include "FeedKit/models/ElementAttributes.h"
#include "FeedKit/models/ITunesNamespace.h"
#include "FeedKit/models/MediaNamespace.h"
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
        FEEDKIT_ATTRIBUTES(domain)
    };
    std::optional<std::string> value;
    FEEDKIT_ATTRIBUTED(RSSFeedCategory, attributes, value)
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
        Attributes() = default;
        explicit Attributes(const ElementAttributes& from) { readAttributes(*this, from); }
    };
    FEEDKIT_ATTRIBUTED(RSSFeedCloud, attributes)
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

std::string_view rawValue(RSSFeedSkipDay day);
// In any case of letters; absent for anything but a day's whole English name. Nothing is trimmed.
std::optional<RSSFeedSkipDay> makeRSSFeedSkipDay(std::string_view text);

struct RSSFeedItemCategory {
    struct Attributes {
        std::optional<std::string> domain;
        FEEDKIT_ATTRIBUTES(domain)
    };
    std::optional<std::string> value;
    FEEDKIT_ATTRIBUTED(RSSFeedItemCategory, attributes, value)
};

struct RSSFeedItemEnclosure {
    struct Attributes {
        std::optional<std::string> url;
        std::optional<std::int64_t> length; // bytes
        std::optional<std::string> type;
        FEEDKIT_ATTRIBUTES(url, length, type)
    };
    FEEDKIT_ATTRIBUTED(RSSFeedItemEnclosure, attributes)
};

struct RSSFeedItemGUID {
    struct Attributes {
        std::optional<bool> isPermaLink;
        FEEDKIT_ATTRIBUTES(isPermaLink)
    };
    std::optional<std::string> value;
    FEEDKIT_ATTRIBUTED(RSSFeedItemGUID, attributes, value)
};

struct RSSFeedItemSource {
    struct Attributes {
        std::optional<std::string> url;
        FEEDKIT_ATTRIBUTES(url)
    };
    std::optional<std::string> value;
    FEEDKIT_ATTRIBUTED(RSSFeedItemSource, attributes, value)
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

    FEEDKIT_FIELDS(RSSFeedItem, title, link, description, author, categories, comments, enclosure, guid, pubDate,
        source, dublinCore, content, iTunes, media)
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

    FEEDKIT_FIELDS(RSSFeed, title, link, description, language, copyright, managingEditor, webMaster, pubDate,
        lastBuildDate, categories, generator, docs, cloud, rating, ttl, image, textInput, skipHours, skipDays, items,
        dublinCore, syndication, iTunes)
};

} // namespace FeedKit
