#pragma once

#include "FeedKit/models/Feed.h"

#include <gtest/gtest.h>
#include <map>
#include <string>

namespace FeedKit {

// A feed flat: a path of fields to its value, with "{}" for an object and "[]" for an array that is there. Absent
// fields have no entry.
using Leaves = std::map<std::string, std::string>;

namespace leaves {

template <class T> void put(Leaves& to, const std::string& path, const T& value);

inline void putValue(Leaves& to, const std::string& path, const std::string& text)
{
    to[path] = '"' + text + '"';
}
inline void putValue(Leaves& to, const std::string& path, bool flag)
{
    to[path] = flag ? "yes" : "no";
}
inline void putValue(Leaves& to, const std::string& path, std::int64_t number)
{
    to[path] = std::to_string(number);
}
inline void putValue(Leaves& to, const std::string& path, double number)
{
    to[path] = std::to_string(number);
}
inline void putValue(Leaves& to, const std::string& path, Date date)
{
    to[path] = std::to_string(date.secondsSince1970);
}
inline void putValue(Leaves& to, const std::string& path, RSSFeedSkipDay day)
{
    to[path] = rawValue(day);
}
inline void putValue(Leaves& to, const std::string& path, SyndicationUpdatePeriod period)
{
    to[path] = rawValue(period);
}

template <class T> void putValue(Leaves& to, const std::string& path, const std::vector<T>& array)
{
    to[path] = "[]";
    for (std::size_t k = 0; k < array.size(); ++k)
        put(to, path + '[' + std::to_string(k) + ']', array[k]);
}

template <Model T> void putValue(Leaves& to, const std::string& path, const T& object)
{
    if (!path.empty())
        to[path] = "{}";
    forEachField<T>([&](const auto& field) {
        put(to, path + (path.empty() ? "" : ".") + std::string(field.name), object.*field.member);
    });
}

template <class T> struct IsOptional : std::false_type { };
template <class T> struct IsOptional<std::optional<T>> : std::true_type { };
template <class T> struct IsOptional<std::shared_ptr<T>> : std::true_type { };

template <class T> void put(Leaves& to, const std::string& path, const T& value)
{
    if constexpr (IsOptional<T>::value) {
        if (value)
            putValue(to, path, *value);
    } else {
        putValue(to, path, value);
    }
}

} // namespace leaves

inline Leaves leavesOf(const Feed& feed)
{
    Leaves to;
    if (const auto rss = feed.rssFeed())
        leaves::put(to, "", *rss);
    if (const auto atom = feed.atomFeed())
        leaves::put(to, "", *atom);
    if (const auto json = feed.jsonFeed())
        leaves::put(to, "", *json);
    return to;
}

} // namespace FeedKit
