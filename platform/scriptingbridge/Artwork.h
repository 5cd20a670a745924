#pragma once

#include "base/Bytes.h"

#include <atomic>
#include <memory>
#include <string>

namespace vitrel {

// Artwork as it was read, and how many pixels it has, 0 if it is no picture.
struct FetchedArtwork {
    std::shared_ptr<const Bytes> bytes;
    double pixels = 0;
};

// Reads the artwork at an address: "file:" (regular files of this machine), "data:" (base64 or escaped), "http:" and
// "https:" (five redirects, ten seconds). Null bytes if it can't be had or is larger than 16 MiB. Blocks; any thread
// but the main one. Ends early once `stop` is set.
FetchedArtwork fetchArtwork(const std::string& address, const std::atomic<bool>& stop);

} // namespace vitrel
