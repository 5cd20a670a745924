#pragma once

#include "FeedKit/models/Fields.h"

#include <memory>
#include <string>
#include <vector>

namespace FeedKit {

struct ITunesSubCategory {
    struct Attributes {
        std::optional<std::string> text;
        FEEDKIT_FIELDS(Attributes, text)
    };
    std::optional<Attributes> attributes;
    FEEDKIT_FIELDS(ITunesSubCategory, attributes)
};

struct ITunesCategory {
    struct Attributes {
        std::optional<std::string> text;
        FEEDKIT_FIELDS(Attributes, text)
    };
    std::optional<Attributes> attributes;
    std::shared_ptr<ITunesSubCategory> subcategory;
    FEEDKIT_FIELDS(ITunesCategory, attributes, subcategory)
};

struct ITunesImage {
    struct Attributes {
        std::optional<std::string> href;
        FEEDKIT_FIELDS(Attributes, href)
    };
    std::optional<Attributes> attributes;
    FEEDKIT_FIELDS(ITunesImage, attributes)
};

struct ITunesOwner {
    std::optional<std::string> email;
    std::optional<std::string> name;
    FEEDKIT_FIELDS(ITunesOwner, email, name)
};

// A podcast's channel or episode (prefix "itunes"). Flags keep the text of the document.
struct ITunesNamespace {
    std::optional<std::string> iTunesAuthor;
    std::optional<std::string> iTunesBlock;
    std::optional<std::vector<std::shared_ptr<ITunesCategory>>> iTunesCategories;
    std::shared_ptr<ITunesImage> iTunesImage;
    std::optional<double> iTunesDuration; // seconds
    std::optional<std::string> iTunesExplicit;
    std::optional<std::string> isClosedCaptioned;
    std::optional<std::int64_t> iTunesOrder;
    std::optional<std::string> iTunesComplete;
    std::optional<std::string> iTunesNewFeedURL;
    std::shared_ptr<ITunesOwner> iTunesOwner;
    std::optional<std::string> iTunesTitle;
    std::optional<std::string> iTunesSubtitle;
    std::optional<std::string> iTunesSummary;
    std::optional<std::string> iTunesKeywords;
    std::optional<std::string> iTunesType;
    std::optional<std::string> iTunesEpisodeType;
    std::optional<std::int64_t> iTunesSeason;
    std::optional<std::int64_t> iTunesEpisode;

    FEEDKIT_FIELDS(ITunesNamespace, iTunesAuthor, iTunesBlock, iTunesCategories, iTunesImage, iTunesDuration,
        iTunesExplicit, isClosedCaptioned, iTunesOrder, iTunesComplete, iTunesNewFeedURL, iTunesOwner, iTunesTitle,
        iTunesSubtitle, iTunesSummary, iTunesKeywords, iTunesType, iTunesEpisodeType, iTunesSeason, iTunesEpisode)
};

} // namespace FeedKit
