#pragma once

#include "FeedKit/models/Fields.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// The elements of the podcast namespace (prefix "podcast", https://podcastindex.org/namespace/1.0) of a channel or an
// episode. What isn't here is among the extensions.
namespace FeedKit {

struct PodcastTranscript {
    struct Attributes {
        std::optional<std::string> url;
        std::optional<std::string> type;
        std::optional<std::string> language;
        std::optional<std::string> rel; // "captions" for those that are timed
        FEEDKIT_FIELDS(Attributes, url, type, language, rel)
    };
    std::optional<Attributes> attributes;
    FEEDKIT_FIELDS(PodcastTranscript, attributes)
};

struct PodcastChapters {
    struct Attributes {
        std::optional<std::string> url;
        std::optional<std::string> type;
        FEEDKIT_FIELDS(Attributes, url, type)
    };
    std::optional<Attributes> attributes;
    FEEDKIT_FIELDS(PodcastChapters, attributes)
};

struct PodcastSoundbite {
    struct Attributes {
        std::optional<double> startTime; // seconds
        std::optional<double> duration;
        FEEDKIT_FIELDS(Attributes, startTime, duration)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(PodcastSoundbite, attributes, value)
};

struct PodcastPerson {
    struct Attributes {
        std::optional<std::string> role; // "host" if absent
        std::optional<std::string> group; // "cast" if absent
        std::optional<std::string> img;
        std::optional<std::string> href;
        FEEDKIT_FIELDS(Attributes, role, group, img, href)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value; // the name
    FEEDKIT_FIELDS(PodcastPerson, attributes, value)
};

struct PodcastLocation {
    struct Attributes {
        std::optional<std::string> geo; // an address of the scheme "geo"
        std::optional<std::string> osm; // an object of OpenStreetMap
        FEEDKIT_FIELDS(Attributes, geo, osm)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value; // for people
    FEEDKIT_FIELDS(PodcastLocation, attributes, value)
};

struct PodcastSeason {
    struct Attributes {
        std::optional<std::string> name;
        FEEDKIT_FIELDS(Attributes, name)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value; // a whole number
    FEEDKIT_FIELDS(PodcastSeason, attributes, value)
};

struct PodcastEpisode {
    struct Attributes {
        std::optional<std::string> display; // in the place of the number
        FEEDKIT_FIELDS(Attributes, display)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value; // a number, perhaps with a fraction
    FEEDKIT_FIELDS(PodcastEpisode, attributes, value)
};

struct PodcastFunding {
    struct Attributes {
        std::optional<std::string> url;
        FEEDKIT_FIELDS(Attributes, url)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(PodcastFunding, attributes, value)
};

struct PodcastLicense {
    struct Attributes {
        std::optional<std::string> url;
        FEEDKIT_FIELDS(Attributes, url)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(PodcastLicense, attributes, value)
};

struct PodcastTrailer {
    struct Attributes {
        std::optional<std::string> url;
        std::optional<std::string> pubdate;
        std::optional<std::int64_t> length; // bytes
        std::optional<std::string> type;
        std::optional<std::int64_t> season;
        FEEDKIT_FIELDS(Attributes, url, pubdate, length, type, season)
    };
    std::optional<Attributes> attributes;
    std::optional<std::string> value;
    FEEDKIT_FIELDS(PodcastTrailer, attributes, value)
};

struct PodcastSource {
    struct Attributes {
        std::optional<std::string> uri;
        std::optional<std::string> contentType;
        FEEDKIT_FIELDS(Attributes, uri, contentType)
    };
    std::optional<Attributes> attributes;
    FEEDKIT_FIELDS(PodcastSource, attributes)
};

struct PodcastAlternateEnclosure {
    struct Attributes {
        std::optional<std::string> type;
        std::optional<std::int64_t> length; // bytes
        std::optional<double> bitrate; // bits a second
        std::optional<std::int64_t> height; // pixels
        std::optional<std::string> lang;
        std::optional<std::string> title;
        FEEDKIT_FIELDS(Attributes, type, length, bitrate, height, lang, title)
    };
    std::optional<Attributes> attributes;
    std::optional<std::vector<std::shared_ptr<PodcastSource>>> sources;
    FEEDKIT_FIELDS(PodcastAlternateEnclosure, attributes, sources)
};

struct PodcastNamespace {
    std::optional<std::string> guid;
    std::optional<std::string> medium;
    std::optional<std::string> locked; // "yes" or "no"
    std::shared_ptr<PodcastLicense> license;
    std::optional<std::vector<std::shared_ptr<PodcastFunding>>> fundings;
    std::optional<std::vector<std::shared_ptr<PodcastTrailer>>> trailers;
    std::optional<std::vector<std::shared_ptr<PodcastPerson>>> persons;
    std::optional<std::vector<std::shared_ptr<PodcastLocation>>> locations;
    std::optional<std::vector<std::shared_ptr<PodcastTranscript>>> transcripts;
    std::shared_ptr<PodcastChapters> chapters;
    std::optional<std::vector<std::shared_ptr<PodcastSoundbite>>> soundbites;
    std::shared_ptr<PodcastSeason> season;
    std::shared_ptr<PodcastEpisode> episode;
    std::optional<std::vector<std::shared_ptr<PodcastAlternateEnclosure>>> alternateEnclosures;

    FEEDKIT_FIELDS(PodcastNamespace, guid, medium, locked, license, fundings, trailers, persons, locations, transcripts,
        chapters, soundbites, season, episode, alternateEnclosures)
};

} // namespace FeedKit
