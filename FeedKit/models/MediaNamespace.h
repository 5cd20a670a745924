#pragma once

#include "FeedKit/basics/Export.h"
#include "FeedKit/models/Fields.h"

#include <memory>
#include <string>
#include <vector>

// The elements of Media RSS (prefix "media"; the Media RSS specification, version 1.5.1), in an RSS item or an Atom
// entry.
namespace FeedKit {

struct MediaTitle {
    struct Attributes {
        std::optional<std::string> type;
        FEEDKIT_FIELDS(Attributes, type)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(MediaTitle, attributes, value)
};

struct MediaDescription {
    struct Attributes {
        std::optional<std::string> type;
        FEEDKIT_FIELDS(Attributes, type)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(MediaDescription, attributes, value)
};

struct MediaPlayer {
    struct Attributes {
        std::optional<std::string> url;
        std::optional<std::int64_t> width;
        std::optional<std::int64_t> height;
        FEEDKIT_FIELDS(Attributes, url, width, height)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(MediaPlayer, attributes, value)
};

// Sizes stay the text of the document.
struct MediaThumbnail {
    struct Attributes {
        std::optional<std::string> url;
        std::optional<std::string> width;
        std::optional<std::string> height;
        std::optional<std::string> time;
        FEEDKIT_FIELDS(Attributes, url, width, height, time)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(MediaThumbnail, attributes, value)
};

struct MediaCategory {
    struct Attributes {
        std::optional<std::string> scheme;
        std::optional<std::string> label;
        FEEDKIT_FIELDS(Attributes, scheme, label)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(MediaCategory, attributes, value)
};

struct MediaCredit {
    struct Attributes {
        std::optional<std::string> role;
        std::optional<std::string> scheme;
        FEEDKIT_FIELDS(Attributes, role, scheme)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(MediaCredit, attributes, value)
};

struct MediaRating {
    struct Attributes {
        std::optional<std::string> scheme;
        FEEDKIT_FIELDS(Attributes, scheme)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(MediaRating, attributes, value)
};

struct MediaContent {
    struct Attributes {
        std::optional<std::string> url;
        std::optional<std::int64_t> fileSize;
        std::optional<std::string> type;
        std::optional<std::string> medium;
        std::optional<bool> isDefault;
        std::optional<std::string> expression;
        std::optional<std::int64_t> bitrate;
        std::optional<double> framerate;
        std::optional<double> samplingrate;
        std::optional<std::int64_t> channels;
        std::optional<std::int64_t> duration;
        std::optional<std::int64_t> height;
        std::optional<std::int64_t> width;
        std::optional<std::string> lang;
        FEEDKIT_FIELDS(Attributes, url, fileSize, type, medium, isDefault, expression, bitrate, framerate, samplingrate,
            channels, duration, height, width, lang)
    };
    std::optional<Attributes> attributes;
    std::shared_ptr<MediaTitle> mediaTitle;
    std::shared_ptr<MediaDescription> mediaDescription;
    std::shared_ptr<MediaPlayer> mediaPlayer;
    std::optional<std::vector<std::shared_ptr<MediaThumbnail>>> mediaThumbnails;
    std::optional<std::vector<std::string>> mediaKeywords;
    std::shared_ptr<MediaCategory> mediaCategory;
    FEEDKIT_FIELDS(MediaContent, attributes, mediaTitle, mediaDescription, mediaPlayer, mediaThumbnails, mediaKeywords,
        mediaCategory)
};

// Made, as MediaCopyright, MediaText and MediaRights, if the parse is asked for more.
struct MediaHash {
    struct Attributes {
        std::optional<std::string> algo;
        FEEDKIT_FIELDS(Attributes, algo)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(MediaHash, attributes, value)
};

struct MediaCopyright {
    struct Attributes {
        std::optional<std::string> url;
        FEEDKIT_FIELDS(Attributes, url)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(MediaCopyright, attributes, value)
};

struct MediaText {
    struct Attributes {
        std::optional<std::string> type;
        std::optional<std::string> lang;
        std::optional<std::string> start;
        std::optional<std::string> end;
        FEEDKIT_FIELDS(Attributes, type, lang, start, end)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(MediaText, attributes, value)
};

struct MediaRights {
    struct Attributes {
        std::optional<std::string> status;
        FEEDKIT_FIELDS(Attributes, status)
    };
    std::optional<Attributes> attributes;
    FEEDKIT_FIELDS(MediaRights, attributes)
};

struct MediaRestriction {
    struct Attributes {
        std::optional<std::string> relationship;
        std::optional<std::string> type;
        FEEDKIT_FIELDS(Attributes, relationship, type)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(MediaRestriction, attributes, value)
};

struct MediaStarRating {
    struct Attributes {
        std::optional<double> average;
        std::optional<std::int64_t> count;
        std::optional<std::int64_t> min;
        std::optional<std::int64_t> max;
        FEEDKIT_FIELDS(Attributes, average, count, min, max)
    };
    std::optional<Attributes> attributes;
    FEEDKIT_FIELDS(MediaStarRating, attributes)
};

struct MediaStatistics {
    struct Attributes {
        std::optional<std::int64_t> views;
        std::optional<std::int64_t> favorites;
        FEEDKIT_FIELDS(Attributes, views, favorites)
    };
    std::optional<Attributes> attributes;
    FEEDKIT_FIELDS(MediaStatistics, attributes)
};

struct MediaTag {
    std::optional<std::string> tag;
    std::optional<std::int64_t> weight = 1;
    FEEDKIT_FIELDS(MediaTag, tag, weight)

    // One tag for each piece between commas: "news: 5, sport" is news with weight 5 and sport with weight 1. Of more
    // than one colon the first part is the tag and the last the weight, absent if it is no integer.
    FEEDKIT_API static std::vector<std::shared_ptr<MediaTag>> tagsFrom(std::string_view text);
};

struct MediaCommunity {
    std::shared_ptr<MediaStarRating> mediaStarRating;
    std::shared_ptr<MediaStatistics> mediaStatistics;
    std::optional<std::vector<std::shared_ptr<MediaTag>>> mediaTags;
    FEEDKIT_FIELDS(MediaCommunity, mediaStarRating, mediaStatistics, mediaTags)
};

// What stands behind the rating is kept if the parse is asked for more.
struct MediaGroup {
    std::optional<std::vector<std::shared_ptr<MediaContent>>> mediaContents;
    std::optional<std::vector<std::shared_ptr<MediaCredit>>> mediaCredits;
    std::shared_ptr<MediaCategory> mediaCategory;
    std::shared_ptr<MediaRating> mediaRating;
    std::shared_ptr<MediaTitle> mediaTitle;
    std::shared_ptr<MediaDescription> mediaDescription;
    std::optional<std::vector<std::string>> mediaKeywords;
    std::optional<std::vector<std::shared_ptr<MediaThumbnail>>> mediaThumbnails;
    std::shared_ptr<MediaPlayer> mediaPlayer;
    std::shared_ptr<MediaCommunity> mediaCommunity;
    FEEDKIT_FIELDS(MediaGroup, mediaContents, mediaCredits, mediaCategory, mediaRating, mediaTitle, mediaDescription,
        mediaKeywords, mediaThumbnails, mediaPlayer, mediaCommunity)
};

struct MediaParam {
    struct Attributes {
        std::optional<std::string> name;
        FEEDKIT_FIELDS(Attributes, name)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(MediaParam, attributes, value)
};

struct MediaEmbed {
    struct Attributes {
        std::optional<std::string> url;
        std::optional<std::int64_t> width;
        std::optional<std::int64_t> height;
        FEEDKIT_FIELDS(Attributes, url, width, height)
    };
    std::optional<Attributes> attributes;
    std::optional<std::vector<std::shared_ptr<MediaParam>>> mediaParams;
    FEEDKIT_FIELDS(MediaEmbed, attributes, mediaParams)
};

struct MediaStatus {
    struct Attributes {
        std::optional<std::string> state;
        std::optional<std::string> reason;
        FEEDKIT_FIELDS(Attributes, state, reason)
    };
    std::optional<Attributes> attributes;
    FEEDKIT_FIELDS(MediaStatus, attributes)
};

struct MediaPrice {
    struct Attributes {
        std::optional<std::string> type;
        std::optional<double> price;
        std::optional<std::string> info;
        std::optional<std::string> currency;
        FEEDKIT_FIELDS(Attributes, type, price, info, currency)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(MediaPrice, attributes, value)
};

struct MediaLicence {
    struct Attributes {
        std::optional<std::string> type;
        std::optional<std::string> href;
        FEEDKIT_FIELDS(Attributes, type, href)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(MediaLicence, attributes, value)
};

struct MediaSubTitle {
    struct Attributes {
        std::optional<std::string> type;
        std::optional<std::string> lang;
        std::optional<std::string> href;
        FEEDKIT_FIELDS(Attributes, type, lang, href)
    };
    std::optional<Attributes> attributes;
    FEEDKIT_FIELDS(MediaSubTitle, attributes)
};

struct MediaPeerLink {
    struct Attributes {
        std::optional<std::string> type;
        std::optional<std::string> href;
        FEEDKIT_FIELDS(Attributes, type, href)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(MediaPeerLink, attributes, value)
};

struct MediaLocation {
    struct Attributes {
        std::optional<std::string> description;
        std::optional<double> start; // seconds
        std::optional<double> end;
        FEEDKIT_FIELDS(Attributes, description, start, end)
    };
    std::optional<Attributes> attributes;
    std::optional<double> latitude; // degrees
    std::optional<double> longitude;
    FEEDKIT_FIELDS(MediaLocation, attributes, latitude, longitude)

    // "52.1 4.3": latitude, one blank, longitude. Changes nothing if there are not just two parts.
    FEEDKIT_API void mapFrom(std::string_view latLng);
};

struct MediaScene {
    std::optional<std::string> sceneTitle;
    std::optional<std::string> sceneDescription;
    std::optional<double> sceneStartTime; // seconds
    std::optional<double> sceneEndTime;
    FEEDKIT_FIELDS(MediaScene, sceneTitle, sceneDescription, sceneStartTime, sceneEndTime)
};

// Absent unless the parse is asked for more: mediaRating, mediaTitle, mediaDescription, mediaKeywords,
// mediaCategory, mediaHash, mediaPlayer, mediaCredits, mediaCopyright, mediaText, mediaRights.
struct MediaNamespace {
    std::shared_ptr<MediaGroup> mediaGroup;
    std::optional<std::vector<std::shared_ptr<MediaContent>>> mediaContents;
    std::shared_ptr<MediaRating> mediaRating;
    std::shared_ptr<MediaTitle> mediaTitle;
    std::shared_ptr<MediaDescription> mediaDescription;
    std::optional<std::vector<std::string>> mediaKeywords;
    std::optional<std::vector<std::shared_ptr<MediaThumbnail>>> mediaThumbnails;
    std::shared_ptr<MediaCategory> mediaCategory;
    std::shared_ptr<MediaHash> mediaHash;
    std::shared_ptr<MediaPlayer> mediaPlayer;
    std::optional<std::vector<std::shared_ptr<MediaCredit>>> mediaCredits;
    std::shared_ptr<MediaCopyright> mediaCopyright;
    std::shared_ptr<MediaText> mediaText;
    std::shared_ptr<MediaRestriction> mediaRestriction;
    std::shared_ptr<MediaCommunity> mediaCommunity;
    std::optional<std::vector<std::string>> mediaComments;
    std::shared_ptr<MediaEmbed> mediaEmbed;
    std::optional<std::vector<std::string>> mediaResponses;
    std::optional<std::vector<std::string>> mediaBackLinks;
    std::shared_ptr<MediaStatus> mediaStatus;
    std::optional<std::vector<std::shared_ptr<MediaPrice>>> mediaPrices;
    std::shared_ptr<MediaLicence> mediaLicense;
    std::shared_ptr<MediaSubTitle> mediaSubTitle;
    std::shared_ptr<MediaPeerLink> mediaPeerLink;
    std::shared_ptr<MediaLocation> mediaLocation;
    std::shared_ptr<MediaRights> mediaRights;
    std::optional<std::vector<std::shared_ptr<MediaScene>>> mediaScenes;

    FEEDKIT_FIELDS(MediaNamespace, mediaGroup, mediaContents, mediaRating, mediaTitle, mediaDescription, mediaKeywords,
        mediaThumbnails, mediaCategory, mediaHash, mediaPlayer, mediaCredits, mediaCopyright, mediaText,
        mediaRestriction, mediaCommunity, mediaComments, mediaEmbed, mediaResponses, mediaBackLinks, mediaStatus,
        mediaPrices, mediaLicense, mediaSubTitle, mediaPeerLink, mediaLocation, mediaRights, mediaScenes)
};

} // namespace FeedKit
