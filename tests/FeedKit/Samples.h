#pragma once

#include "support/TemporaryFolder.h"

#include <map>

namespace FeedKit {

// The feeds that lie beside the checkout, by their paths. There may be none.
inline std::map<std::filesystem::path, std::string> sampleFeeds()
{
    std::map<std::filesystem::path, std::string> feeds;
    std::error_code none;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(VITREL_SAMPLES "/feeds", none)) {
        if (entry.is_regular_file() && entry.path().extension() != ".md")
            feeds[entry.path()] = vitrel::TemporaryFolder::read(entry.path());
    }
    return feeds;
}

} // namespace FeedKit
