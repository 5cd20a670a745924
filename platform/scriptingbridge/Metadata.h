#pragma once

#include "platform/foundation/Value.h"
#include "platform/scriptingbridge/SBApplication.h"

#include <memory>
#include <string>

namespace vitrel {

// A player's "Metadata" as it stands for us. Players disagree on types and on the case of keys, so everything is
// read leniently: a list may come as one text, a number as text.
struct TrackMetadata {
    // Without artworks.
    std::shared_ptr<SBTrack> track;
    // Tells one track from another: by address, title, artist and album; by the player's own name for it and its length
    // only when it says nothing of these. Two tracks may share a file of artwork.
    std::string identity;
    // Where the artwork lies; empty if there is none.
    std::string artAddress;
    double length = 0; // seconds, 0 if unknown
};

// Texts are cut at 4096 bytes and made well-formed UTF-8; an address of artwork above 24 MiB counts as none.
TrackMetadata trackMetadata(const Dictionary& metadata);

} // namespace vitrel
