#pragma once

#include "FeedKit/models/Feed.h"

#include <gtest/gtest.h>
#include <map>
#include <string>

namespace FeedKit {

// A feed flat: a path of fields to its value, with "{}" for an object and "[]" for an array that is there. Absent
// fields have no entry.
using Leaves = std::map<std::string, std::string>;

template <class T> void putLeaves(Leaves& to, const std::string& path, const T& value)
{
    if constexpr (std::is_same_v<T, std::string>)
        to[path] = '"' + value + '"';
    else if constexpr (std::is_same_v<T, bool>)
        to[path] = value ? "yes" : "no";
    else if constexpr (std::is_arithmetic_v<T>)
        to[path] = std::to_string(value);
    else if constexpr (std::is_same_v<T, Date>)
        to[path] = std::to_string(value.secondsSince1970);
    else if constexpr (std::is_enum_v<T>)
        to[path] = rawValue(value);
    else if constexpr (Model<T>) {
        if (!path.empty())
            to[path] = "{}";
        forEachField<T>([&](const auto& field) {
            putLeaves(to, path + (path.empty() ? "" : ".") + std::string(field.name), value.*field.member);
        });
    } else if constexpr (requires { value.size(); }) {
        to[path] = "[]";
        for (std::size_t k = 0; k < value.size(); ++k)
            putLeaves(to, path + '[' + std::to_string(k) + ']', value[k]);
    } else if (value)
        putLeaves(to, path, *value);
}

inline Leaves leavesOf(const Feed& feed)
{
    Leaves to;
    putLeaves(to, "", feed.rssFeed());
    putLeaves(to, "", feed.atomFeed());
    putLeaves(to, "", feed.jsonFeed());
    return to;
}

} // namespace FeedKit
