#pragma once

#include "FeedKit/basics/Date.h"
#include "FeedKit/models/Extensions.h"
#include "FeedKit/models/Fields.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// JSON Feed, version 1. Plain values: a copy of a feed copies everything in it. Addresses are plain text.
namespace FeedKit {

struct JSONFeedAuthor {
    std::optional<std::string> name;
    std::optional<std::string> url;
    std::optional<std::string> avatar;
    FEEDKIT_FIELDS(JSONFeedAuthor, name, url, avatar)
};

struct JSONFeedHub {
    std::optional<std::string> type;
    std::optional<std::string> url;
    FEEDKIT_FIELDS(JSONFeedHub, type, url)
};

struct JSONFeedAttachment {
    std::optional<std::string> url;
    std::optional<std::string> mimeType;
    std::optional<std::string> title;
    std::optional<std::int64_t> sizeInBytes;
    std::optional<double> durationInSeconds;

    static constexpr auto fields()
    {
        using Self = JSONFeedAttachment;
        return std::make_tuple(Field("url", &Self::url), Field("mimeType", &Self::mimeType, "mime_type"),
            Field("title", &Self::title), Field("sizeInBytes", &Self::sizeInBytes, "size_in_bytes"),
            Field("durationInSeconds", &Self::durationInSeconds, "duration_in_seconds"));
    }
};

// What a parse keeps of an item or of a feed beyond version 1, if it is asked to: what version 1.1 has, and extensions.
// A value of another type than it should have leaves its field absent.
struct JSONFeedMore {
    std::optional<std::vector<JSONFeedAuthor>> authors;
    std::optional<std::string> language;
    std::optional<std::string> datePublishedText; // of an item, as it was written
    std::optional<std::string> dateModifiedText;
    // Keys that begin with "_", with the JSON text of what they hold.
    std::optional<std::vector<ExtensionElement>> extensions;
    FEEDKIT_FIELDS(JSONFeedMore, authors, language, datePublishedText, dateModifiedText, extensions)
};

struct JSONFeedItem {
    std::optional<std::string> id;
    std::optional<std::string> url;
    std::optional<std::string> externalUrl;
    std::optional<std::string> title;
    std::optional<std::string> contentText;
    std::optional<std::string> contentHtml;
    std::optional<std::string> summary;
    std::optional<std::string> image;
    std::optional<std::string> bannerImage;
    std::optional<Date> datePublished;
    std::optional<Date> dateModified;
    std::optional<JSONFeedAuthor> author;
    std::optional<std::vector<std::string>> tags;
    std::optional<std::vector<JSONFeedAttachment>> attachments;
    std::shared_ptr<JSONFeedMore> more; // none of the keys, so none of the fields that are listed

    static constexpr auto fields()
    {
        using Self = JSONFeedItem;
        return std::make_tuple(Field("id", &Self::id), Field("url", &Self::url),
            Field("externalUrl", &Self::externalUrl, "external_url"), Field("title", &Self::title),
            Field("contentText", &Self::contentText, "content_text"),
            Field("contentHtml", &Self::contentHtml, "content_html"), Field("summary", &Self::summary),
            Field("image", &Self::image), Field("bannerImage", &Self::bannerImage, "banner_image"),
            Field("datePublished", &Self::datePublished, "date_published"),
            Field("dateModified", &Self::dateModified, "date_modified"), Field("author", &Self::author),
            Field("tags", &Self::tags), Field("attachments", &Self::attachments));
    }
};

struct JSONFeed {
    std::optional<std::string> version;
    std::optional<std::string> title;
    std::optional<std::string> homePageURL;
    std::optional<std::string> feedUrl;
    std::optional<std::string> description;
    std::optional<std::string> userComment;
    std::optional<std::string> nextUrl;
    std::optional<std::string> icon;
    std::optional<std::string> favicon;
    std::optional<JSONFeedAuthor> author;
    std::optional<bool> expired;
    std::optional<std::vector<JSONFeedHub>> hubs;
    std::optional<std::vector<JSONFeedItem>> items;
    std::shared_ptr<JSONFeedMore> more; // as an item's

    static constexpr auto fields()
    {
        using Self = JSONFeed;
        return std::make_tuple(Field("version", &Self::version), Field("title", &Self::title),
            Field("homePageURL", &Self::homePageURL, "home_page_url"), Field("feedUrl", &Self::feedUrl, "feed_url"),
            Field("description", &Self::description), Field("userComment", &Self::userComment, "user_comment"),
            Field("nextUrl", &Self::nextUrl, "next_url"), Field("icon", &Self::icon), Field("favicon", &Self::favicon),
            Field("author", &Self::author), Field("expired", &Self::expired), Field("hubs", &Self::hubs),
            Field("items", &Self::items));
    }
};

} // namespace FeedKit
