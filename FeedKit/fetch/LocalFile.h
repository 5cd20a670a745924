#pragma once

#include "FeedKit/fetch/Fetcher.h"

#include <cstddef>

namespace FeedKit {

// What a "file" address names, or absent if its marks are those of `known`. Regular files of this machine only: a pipe
// or a device may never end. The validators are made of the file's identity, size and time of change.
Result<std::optional<FetchedContents>, std::string> localContentsOfIfModified(
    const URL& url, const Validators& known, std::size_t maxBytes);

} // namespace FeedKit
