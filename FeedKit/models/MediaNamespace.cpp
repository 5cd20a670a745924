#include "FeedKit/models/MediaNamespace.h"

#include "FeedKit/conversions/Conversions.h"

namespace FeedKit {

std::vector<std::shared_ptr<MediaTag>> MediaTag::tagsFrom(std::string_view text)
{
    std::vector<std::shared_ptr<MediaTag>> tags;
    for (;;) {
        const auto comma = text.find(',');
        const auto piece = text.substr(0, comma);
        auto tag = std::make_shared<MediaTag>();
        tag->tag.emplace(trimmed(piece.substr(0, piece.find(':'))));
        if (const auto colon = piece.rfind(':'); colon != piece.npos)
            tag->weight = toInteger(trimmed(piece.substr(colon + 1)));
        tags.push_back(std::move(tag));
        if (comma == text.npos)
            return tags;
        text.remove_prefix(comma + 1);
    }
}

void MediaLocation::mapFrom(std::string_view latLng)
{
    const auto blank = latLng.find(' ');
    if (blank == latLng.npos || latLng.find(' ', blank + 1) != latLng.npos)
        return;
    latitude = toDouble(latLng.substr(0, blank));
    longitude = toDouble(latLng.substr(blank + 1));
}

} // namespace FeedKit
