#pragma once

#include "FeedKit/basics/Date.h"
#include "FeedKit/models/ElementAttributes.h"
#include "FeedKit/models/MediaNamespace.h"

#include <memory>
#include <string>
#include <vector>

// Atom (RFC 4287). Text is UTF-8 as the document has it, nothing trimmed.
namespace FeedKit {

struct AtomFeedAuthor {
    std::optional<std::string> name;
    std::optional<std::string> email;
    std::optional<std::string> uri;
    FEEDKIT_FIELDS(AtomFeedAuthor, name, email, uri)
};

struct AtomFeedContributor {
    std::optional<std::string> name;
    std::optional<std::string> email;
    std::optional<std::string> uri;
    FEEDKIT_FIELDS(AtomFeedContributor, name, email, uri)
};

struct AtomFeedEntryAuthor {
    std::optional<std::string> name;
    std::optional<std::string> email;
    std::optional<std::string> uri;
    FEEDKIT_FIELDS(AtomFeedEntryAuthor, name, email, uri)
};

struct AtomFeedEntryContributor {
    std::optional<std::string> name;
    std::optional<std::string> email;
    std::optional<std::string> uri;
    FEEDKIT_FIELDS(AtomFeedEntryContributor, name, email, uri)
};

struct AtomFeedCategory {
    struct Attributes {
        std::optional<std::string> term;
        std::optional<std::string> scheme;
        std::optional<std::string> label;
        FEEDKIT_ATTRIBUTES(term, scheme, label)
    };
    FEEDKIT_ATTRIBUTED(AtomFeedCategory, attributes)
};

struct AtomFeedEntryCategory {
    struct Attributes {
        std::optional<std::string> term;
        std::optional<std::string> scheme;
        std::optional<std::string> label;
        FEEDKIT_ATTRIBUTES(term, scheme, label)
    };
    FEEDKIT_ATTRIBUTED(AtomFeedEntryCategory, attributes)
};

struct AtomFeedLink {
    struct Attributes {
        std::optional<std::string> href;
        std::optional<std::string> rel;
        std::optional<std::string> type;
        std::optional<std::string> hreflang;
        std::optional<std::string> title;
        std::optional<std::int64_t> length; // bytes
        FEEDKIT_ATTRIBUTES(href, rel, type, hreflang, title, length)
    };
    FEEDKIT_ATTRIBUTED(AtomFeedLink, attributes)
};

struct AtomFeedEntryLink {
    struct Attributes {
        std::optional<std::string> href;
        std::optional<std::string> rel;
        std::optional<std::string> type;
        std::optional<std::string> hreflang;
        std::optional<std::string> title;
        std::optional<std::int64_t> length; // bytes
        FEEDKIT_ATTRIBUTES(href, rel, type, hreflang, title, length)
    };
    FEEDKIT_ATTRIBUTED(AtomFeedEntryLink, attributes)
};

struct AtomFeedSubtitle {
    struct Attributes {
        std::optional<std::string> type;
        FEEDKIT_ATTRIBUTES(type)
    };
    std::optional<std::string> value;
    FEEDKIT_ATTRIBUTED(AtomFeedSubtitle, attributes, value)
};

struct AtomFeedEntrySummary {
    struct Attributes {
        std::optional<std::string> type;
        FEEDKIT_ATTRIBUTES(type)
    };
    std::optional<std::string> value;
    FEEDKIT_ATTRIBUTED(AtomFeedEntrySummary, attributes, value)
};

struct AtomFeedGenerator {
    struct Attributes {
        std::optional<std::string> uri;
        std::optional<std::string> version;
        FEEDKIT_ATTRIBUTES(uri, version)
    };
    std::optional<std::string> value;
    FEEDKIT_ATTRIBUTED(AtomFeedGenerator, attributes, value)
};

struct AtomFeedEntryContent {
    struct Attributes {
        std::optional<std::string> type;
        std::optional<std::string> src;
        FEEDKIT_ATTRIBUTES(type, src)
    };
    std::optional<std::string> value;
    FEEDKIT_ATTRIBUTED(AtomFeedEntryContent, attributes, value)
};

struct AtomFeedEntrySource {
    std::optional<std::string> id;
    std::optional<std::string> title;
    std::optional<Date> updated;
    FEEDKIT_FIELDS(AtomFeedEntrySource, id, title, updated)
};

struct AtomFeedEntry {
    std::optional<std::string> title;
    std::shared_ptr<AtomFeedEntrySummary> summary;
    std::optional<std::vector<std::shared_ptr<AtomFeedEntryAuthor>>> authors;
    std::optional<std::vector<std::shared_ptr<AtomFeedEntryContributor>>> contributors;
    std::optional<std::vector<std::shared_ptr<AtomFeedEntryLink>>> links;
    std::optional<Date> updated;
    std::optional<std::vector<std::shared_ptr<AtomFeedEntryCategory>>> categories;
    std::optional<std::string> id;
    std::shared_ptr<AtomFeedEntryContent> content;
    std::optional<Date> published;
    std::shared_ptr<AtomFeedEntrySource> source;
    std::optional<std::string> rights;
    std::shared_ptr<MediaNamespace> media;

    FEEDKIT_FIELDS(AtomFeedEntry, title, summary, authors, contributors, links, updated, categories, id, content,
        published, source, rights, media)
};

struct AtomFeed {
    std::optional<std::string> title;
    std::shared_ptr<AtomFeedSubtitle> subtitle;
    std::optional<std::vector<std::shared_ptr<AtomFeedLink>>> links;
    std::optional<Date> updated;
    std::optional<std::vector<std::shared_ptr<AtomFeedCategory>>> categories;
    std::optional<std::vector<std::shared_ptr<AtomFeedAuthor>>> authors;
    std::optional<std::vector<std::shared_ptr<AtomFeedContributor>>> contributors;
    std::optional<std::string> id;
    std::shared_ptr<AtomFeedGenerator> generator;
    std::optional<std::string> icon;
    std::optional<std::string> logo;
    std::optional<std::string> rights;
    std::optional<std::vector<std::shared_ptr<AtomFeedEntry>>> entries;

    FEEDKIT_FIELDS(AtomFeed, title, subtitle, links, updated, categories, authors, contributors, id, generator, icon,
        logo, rights, entries)
};

} // namespace FeedKit
