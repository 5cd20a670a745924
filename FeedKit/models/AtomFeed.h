#pragma once

#include "FeedKit/basics/Date.h"
#include "FeedKit/models/Extensions.h"
#include "FeedKit/models/Fields.h"
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
        FEEDKIT_FIELDS(Attributes, term, scheme, label)
    };
    std::optional<Attributes> attributes;
    FEEDKIT_FIELDS(AtomFeedCategory, attributes)
};

struct AtomFeedEntryCategory {
    struct Attributes {
        std::optional<std::string> term;
        std::optional<std::string> scheme;
        std::optional<std::string> label;
        FEEDKIT_FIELDS(Attributes, term, scheme, label)
    };
    std::optional<Attributes> attributes;
    FEEDKIT_FIELDS(AtomFeedEntryCategory, attributes)
};

struct AtomFeedLink {
    struct Attributes {
        std::optional<std::string> href;
        std::optional<std::string> rel;
        std::optional<std::string> type;
        std::optional<std::string> hreflang;
        std::optional<std::string> title;
        std::optional<std::int64_t> length; // bytes
        FEEDKIT_FIELDS(Attributes, href, rel, type, hreflang, title, length)
    };
    std::optional<Attributes> attributes;
    FEEDKIT_FIELDS(AtomFeedLink, attributes)
};

struct AtomFeedEntryLink {
    struct Attributes {
        std::optional<std::string> href;
        std::optional<std::string> rel;
        std::optional<std::string> type;
        std::optional<std::string> hreflang;
        std::optional<std::string> title;
        std::optional<std::int64_t> length; // bytes
        FEEDKIT_FIELDS(Attributes, href, rel, type, hreflang, title, length)
    };
    std::optional<Attributes> attributes;
    FEEDKIT_FIELDS(AtomFeedEntryLink, attributes)
};

struct AtomFeedSubtitle {
    struct Attributes {
        std::optional<std::string> type;
        FEEDKIT_FIELDS(Attributes, type)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(AtomFeedSubtitle, attributes, value)
};

struct AtomFeedEntrySummary {
    struct Attributes {
        std::optional<std::string> type;
        FEEDKIT_FIELDS(Attributes, type)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(AtomFeedEntrySummary, attributes, value)
};

struct AtomFeedGenerator {
    struct Attributes {
        std::optional<std::string> uri;
        std::optional<std::string> version;
        FEEDKIT_FIELDS(Attributes, uri, version)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(AtomFeedGenerator, attributes, value)
};

struct AtomFeedEntryContent {
    struct Attributes {
        std::optional<std::string> type;
        std::optional<std::string> src;
        FEEDKIT_FIELDS(Attributes, type, src)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(AtomFeedEntryContent, attributes, value)
};

struct AtomFeedEntrySource {
    std::optional<std::string> id;
    std::optional<std::string> title;
    std::optional<Date> updated;
    FEEDKIT_FIELDS(AtomFeedEntrySource, id, title, updated)
};

// What a parse keeps of an entry beyond the model, if it is asked to.
struct AtomFeedEntryMore {
    std::optional<std::string> titleType; // "text", "html" or "xhtml"; as "text" if absent (RFC 4287, section 3.1.1)
    std::optional<std::string> base; // the address that relative ones of the entry are relative to (XML Base)
    std::optional<std::string> contentBase; // the same for the content, where that has one of its own
    std::optional<std::string> language; // xml:lang
    std::optional<std::string> updatedText; // as it was written
    std::optional<std::string> publishedText;
    std::optional<std::vector<ExtensionElement>> extensions;

    FEEDKIT_FIELDS(AtomFeedEntryMore, titleType, base, contentBase, language, updatedText, publishedText, extensions)
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
    std::shared_ptr<AtomFeedEntryMore> more;

    FEEDKIT_FIELDS(AtomFeedEntry, title, summary, authors, contributors, links, updated, categories, id, content,
        published, source, rights, media, more)
};

// What a parse keeps of a feed beyond the model, if it is asked to.
struct AtomFeedMore {
    std::optional<std::string> titleType; // as an entry's, as are the others
    std::optional<std::string> base;
    std::optional<std::string> language;
    std::optional<std::string> updatedText;
    std::optional<std::vector<ExtensionElement>> extensions;

    FEEDKIT_FIELDS(AtomFeedMore, titleType, base, language, updatedText, extensions)
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
    std::shared_ptr<AtomFeedMore> more;

    FEEDKIT_FIELDS(AtomFeed, title, subtitle, links, updated, categories, authors, contributors, id, generator, icon,
        logo, rights, entries, more)
};

} // namespace FeedKit
