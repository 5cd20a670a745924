#pragma once

#include "FeedKit/opml/OPML.h"

#include <string_view>
#include <utility>

namespace FeedKit {

// The attributes that fields stand for, in the order in which they are written, with what they are called.
inline constexpr std::pair<std::string_view, std::optional<std::string> Outline::*> kOutlineNames[]
    = {{"text", &Outline::text}, {"title", &Outline::title}, {"type", &Outline::type}, {"xmlUrl", &Outline::xmlUrl},
        {"htmlUrl", &Outline::htmlUrl}, {"description", &Outline::description}, {"language", &Outline::language}};
inline constexpr std::string_view kCategoryName = "category";

inline constexpr std::pair<std::string_view, std::optional<std::string> OPML::*> kHeadNames[]
    = {{"title", &OPML::title}, {"ownerName", &OPML::ownerName}, {"ownerEmail", &OPML::ownerEmail}};
inline constexpr std::pair<std::string_view, std::optional<Date> OPML::*> kHeadDates[]
    = {{"dateCreated", &OPML::dateCreated}, {"dateModified", &OPML::dateModified}};

} // namespace FeedKit
