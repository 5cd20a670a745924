#pragma once

#include "base/Bytes.h"

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace vitrel {

class NSImage;

// Artwork as it was read, and decoded.
struct FetchedArtwork {
    std::shared_ptr<const Bytes> bytes; // null if it couldn't be had
    std::shared_ptr<const NSImage> image; // null if the bytes are no picture

    double pixels() const; // 0 without a picture
};

// Reads the artwork at an address: "file:" or a bare path (regular files of this machine), "data:" (base64 or escaped),
// "http:" and "https:" (five redirects, ten seconds). Files' names may be escaped or not. Absent if it can't be had, is
// empty or is larger than 16 MiB. Blocks; any thread but the main one. Ends soon once `stop` is set, and then gives
// nothing.
std::optional<Bytes> artworkBytes(const std::string& address, const std::atomic<bool>& stop);

// The same for a process that has its own way to them.
using ArtworkReader = std::function<std::optional<Bytes>(const std::string& address, const std::atomic<bool>& stop)>;

// Reads and decodes; what is null in it couldn't be had.
FetchedArtwork fetchArtwork(const std::string& address, const std::atomic<bool>& stop, const ArtworkReader& read = {});

FetchedArtwork decodedArtwork(std::shared_ptr<const Bytes> bytes);

// Whether the artwork at an address is on this machine, so that it can be had at once if at all.
bool isLocalArtwork(const std::string& address);

} // namespace vitrel
