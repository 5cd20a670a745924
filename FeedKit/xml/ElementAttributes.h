#pragma once

#include "FeedKit/conversions/Conversions.h"
#include "FeedKit/models/MediaNamespace.h"

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

namespace FeedKit {

// The attributes of one start tag: names as written, prefix included, and values with their references resolved. A view
// of names and values by turns, ended by a null; it owns nothing.
class ElementAttributes
{
public:
    explicit ElementAttributes(const char* const* namesAndValues)
        : at_(namesAndValues)
    { }

    bool empty() const { return !*at_; }

    template <class Visitor> void forEach(Visitor&& visit) const
    {
        for (auto pair = at_; *pair; pair += 2)
            visit(std::string_view(pair[0]), std::string_view(pair[1]));
    }

    // The memory that the values would take in a model, in bytes.
    std::size_t valueBytes() const
    {
        std::size_t sum = 0;
        for (auto pair = at_; *pair; pair += 2)
            sum += std::strlen(pair[1]);
        return sum;
    }

private:
    const char* const* at_;
};

namespace detail {

inline void readInto(std::optional<std::string>& field, std::string_view value)
{
    field.emplace(value);
}
inline void readInto(std::optional<std::int64_t>& field, std::string_view value)
{
    field = toInteger(value);
}
inline void readInto(std::optional<double>& field, std::string_view value)
{
    field = toDouble(value);
}
inline void readInto(std::optional<bool>& field, std::string_view value)
{
    field = toBool(value);
}

} // namespace detail

// Fills the fields of `to` whose keys are among the attributes. A value that doesn't read leaves its field absent.
template <Model T> void readAttributes(T& to, const ElementAttributes& from)
{
    static constexpr auto kFields = T::fields();
    from.forEach([&](std::string_view name, std::string_view value) {
        std::apply(
            [&](const auto&... field) {
                static_cast<void>(((field.key == name && (detail::readInto(to.*field.member, value), true)) || ...));
            },
            kFields);
    });
}

// A location's times are written as durations.
inline void readAttributes(MediaLocation::Attributes& to, const ElementAttributes& from)
{
    from.forEach([&](std::string_view name, std::string_view value) {
        if (name == "description")
            to.description.emplace(value);
        else if (name == "start")
            to.start = toDuration(value);
        else if (name == "end")
            to.end = toDuration(value);
    });
}

// Attributes of an object: absent when the element has none at all.
template <class Attributes> std::optional<Attributes> makeAttributes(const ElementAttributes& from)
{
    if (from.empty())
        return std::nullopt;
    std::optional<Attributes> made(std::in_place);
    readAttributes(*made, from);
    return made;
}

} // namespace FeedKit
