#pragma once

#include "FeedKit/models/JSONFeed.h"

#include <simdjson.h>

namespace FeedKit {

// What the object of a feed or of an item holds beyond version 1; null if there is nothing. `bytes` grows by what it
// takes.
std::shared_ptr<JSONFeedMore> moreOf(simdjson::dom::object object, std::size_t& bytes);

} // namespace FeedKit
