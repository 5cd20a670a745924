#pragma once

#include "FeedKit/models/ElementAttributes.h"

#include <memory>
#include <string>
#include <vector>

// The elements of Media RSS (prefix "media"; the Media RSS specification, version 1.5.1), in an RSS item or an Atom
// entry.
namespace FeedKit {

struct MediaTitle {
    struct Attributes {
        std::optional<std::string> type;
        FEEDKIT_ATTRIBUTES(type)
    };
    std::optional<std::string> value;
    FEEDKIT_ATTRIBUTED(MediaTitle, attributes, value)
};

struct MediaDescription {
    struct Attributes {
        std::optional<std::string> type;
        FEEDKIT_ATTRIBUTES(type)
    };
    std::optional<std::string> value;
    FEEDKIT_ATTRIBUTED(MediaDescription, attributes, value)
};

struct MediaPlayer {
    struct Attributes {
        std::optional<std::string> url;
        std::optional<std::int64_t> width;
        std::optional<std::int64_t> height;
        FEEDKIT_ATTRIBUTES(url, width, height)
    };
    std::optional<std::string> value;
    FEEDKIT_ATTRIBUTED(MediaPlayer, attributes, value)
};

// Sizes stay the text of the document.
struct MediaThumbnail {
    struct Attributes {
        std::optional<std::string> url;
        std::optional<std::string> width;
        std::optional<std::string> height;
        std::optional<std::string> time;
        FEEDKIT_ATTRIBUTES(url, width, height, time)
    };
    std::optional<std::string> value;
    FEEDKIT_ATTRIBUTED(MediaThumbnail, attributes, value)
};

struct MediaCategory {
    struct Attributes {
        std::optional<std::string> scheme;
        std::optional<std::string> label;
        FEEDKIT_ATTRIBUTES(scheme, label)
    };
    std::optional<std::string> value;
    FEEDKIT_ATTRIBUTED(MediaCategory, attributes, value)
};

struct MediaCredit {
    struct Attributes {
        std::optional<std::string> role;
        std::optional<std::string> scheme;
        FEEDKIT_ATTRIBUTES(role, scheme)
    };
    std::optional<std::string> value;
    FEEDKIT_ATTRIBUTED(MediaCredit, attributes, value)
};

struct MediaRating {
    struct Attributes {
        std::optional<std::string> scheme;
        FEEDKIT_ATTRIBUTES(scheme)
    };
    std::optional<std::string> value;
    FEEDKIT_ATTRIBUTED(MediaRating, attributes, value)
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
        FEEDKIT_ATTRIBUTES(url, fileSize, type, medium, isDefault, expression, bitrate, framerate, samplingrate,
            channels, duration, height, width, lang)
    };
    std::shared_ptr<MediaTitle> mediaTitle;
    std::shared_ptr<MediaDescription> mediaDescription;
    std::shared_ptr<MediaPlayer> mediaPlayer;
    std::optional<std::vector<std::shared_ptr<MediaThumbnail>>> mediaThumbnails;
    std::optional<std::vector<std::string>> mediaKeywords;
    std::shared_ptr<MediaCategory> mediaCategory;
    FEEDKIT_ATTRIBUTED(MediaContent, attributes, mediaTitle, mediaDescription, mediaPlayer, mediaThumbnails,
        mediaKeywords, mediaCategory)
};

struct MediaGroup {
    std::optional<std::vector<std::shared_ptr<MediaContent>>> mediaContents;
    std::optional<std::vector<std::shared_ptr<MediaCredit>>> mediaCredits;
    std::shared_ptr<MediaCategory> mediaCategory;
    std::shared_ptr<MediaRating> mediaRating;
    FEEDKIT_FIELDS(MediaGroup, mediaContents, mediaCredits, mediaCategory, mediaRating)
};

// No element that the parser knows makes this one, nor MediaCopyright, MediaText and MediaRights.
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
        FEEDKIT_ATTRIBUTES(relationship, type)
    };
    std::optional<std::string> value;
    FEEDKIT_ATTRIBUTED(MediaRestriction, attributes, value)
};

struct MediaStarRating {
    struct Attributes {
        std::optional<double> average;
        std::optional<std::int64_t> count;
        std::optional<std::int64_t> min;
        std::optional<std::int64_t> max;
        FEEDKIT_ATTRIBUTES(average, count, min, max)
    };
    FEEDKIT_ATTRIBUTED(MediaStarRating, attributes)
};

struct MediaStatistics {
    struct Attributes {
        std::optional<std::int64_t> views;
        std::optional<std::int64_t> favorites;
        FEEDKIT_ATTRIBUTES(views, favorites)
    };
    FEEDKIT_ATTRIBUTED(MediaStatistics, attributes)
};

struct MediaTag {
    std::optional<std::string> tag;
    std::optional<std::int64_t> weight = 1;
    FEEDKIT_FIELDS(MediaTag, tag, weight)

    // One tag for each piece between commas: "news: 5, sport" is news with weight 5 and sport with weight 1. Of more
    // than one colon the first part is the tag and the last the weight, absent if it is no integer.
    static std::vector<std::shared_ptr<MediaTag>> tagsFrom(std::string_view text);
};

struct MediaCommunity {
    std::shared_ptr<MediaStarRating> mediaStarRating;
    std::shared_ptr<MediaStatistics> mediaStatistics;
    std::optional<std::vector<std::shared_ptr<MediaTag>>> mediaTags;
    FEEDKIT_FIELDS(MediaCommunity, mediaStarRating, mediaStatistics, mediaTags)
};

struct MediaParam {
    struct Attributes {
        std::optional<std::string> name;
        FEEDKIT_ATTRIBUTES(name)
    };
    std::optional<std::string> value;
    FEEDKIT_ATTRIBUTED(MediaParam, attributes, value)
};

struct MediaEmbed {
    struct Attributes {
        std::optional<std::string> url;
        std::optional<std::int64_t> width;
        std::optional<std::int64_t> height;
        FEEDKIT_ATTRIBUTES(url, width, height)
    };
    std::optional<std::vector<std::shared_ptr<MediaParam>>> mediaParams;
    FEEDKIT_ATTRIBUTED(MediaEmbed, attributes, mediaParams)
};

struct MediaStatus {
    struct Attributes {
        std::optional<std::string> state;
        std::optional<std::string> reason;
        FEEDKIT_ATTRIBUTES(state, reason)
    };
    FEEDKIT_ATTRIBUTED(MediaStatus, attributes)
};

struct MediaPrice {
    struct Attributes {
        std::optional<std::string> type;
        std::optional<double> price;
        std::optional<std::string> info;
        std::optional<std::string> currency;
        FEEDKIT_ATTRIBUTES(type, price, info, currency)
    };
    std::optional<std::string> value;
    FEEDKIT_ATTRIBUTED(MediaPrice, attributes, value)
};

struct MediaLicence {
    struct Attributes {
        std::optional<std::string> type;
        std::optional<std::string> href;
        FEEDKIT_ATTRIBUTES(type, href)
    };
    std::optional<std::string> value;
    FEEDKIT_ATTRIBUTED(MediaLicence, attributes, value)
};

struct MediaSubTitle {
    struct Attributes {
        std::optional<std::string> type;
        std::optional<std::string> lang;
        std::optional<std::string> href;
        FEEDKIT_ATTRIBUTES(type, lang, href)
    };
    FEEDKIT_ATTRIBUTED(MediaSubTitle, attributes)
};

struct MediaPeerLink {
    struct Attributes {
        std::optional<std::string> type;
        std::optional<std::string> href;
        FEEDKIT_ATTRIBUTES(type, href)
    };
    std::optional<std::string> value;
    FEEDKIT_ATTRIBUTED(MediaPeerLink, attributes, value)
};

struct MediaLocation {
    struct Attributes {
        std::optional<std::string> description;
        std::optional<double> start; // seconds
        std::optional<double> end;
        Attributes() = default;
        explicit Attributes(const ElementAttributes& from);
        FEEDKIT_FIELDS(Attributes, description, start, end)
    };
    std::optional<double> latitude; // degrees
    std::optional<double> longitude;
    FEEDKIT_ATTRIBUTED(MediaLocation, attributes, latitude, longitude)

    // "52.1 4.3": latitude, one blank, longitude. Changes nothing if there are not just two parts.
    void mapFrom(std::string_view latLng);
};

struct MediaScene {
    std::optional<std::string> sceneTitle;
    std::optional<std::string> sceneDescription;
    std::optional<double> sceneStartTime; // seconds
    std::optional<double> sceneEndTime;
    FEEDKIT_FIELDS(MediaScene, sceneTitle, sceneDescription, sceneStartTime, sceneEndTime)
};

// What no element fills stays absent in every parsed feed: mediaRating, mediaTitle, mediaDescription, mediaKeywords,
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
