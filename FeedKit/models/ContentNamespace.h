#pragma once

#include "FeedKit/models/Fields.h"

#include <optional>
#include <string>

namespace FeedKit {

// The full text of an item (prefix "content"), as a rule HTML.
struct ContentNamespace {
    std::optional<std::string> contentEncoded;

    FEEDKIT_FIELDS(ContentNamespace, contentEncoded)
};

} // namespace FeedKit
