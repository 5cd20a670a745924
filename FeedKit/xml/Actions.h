#pragma once

#include "FeedKit/conversions/Conversions.h"
#include "FeedKit/dates/DateFormatters.h"
#include "FeedKit/models/Feed.h"
#include "FeedKit/xml/ElementAttributes.h"
#include "FeedKit/xml/NSXMLParser.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

// What a row of a path table does. Each action carries the way from the feed to its field, member by member; through an
// array it takes the last element. If something on the way is missing, the action does nothing.
namespace FeedKit {

// What a start tag does to a feed.
template <class Feed> struct StartAction {
    void (*run)(Feed&, const ElementAttributes&) = nullptr;
    std::size_t cost = 0; // bytes of what it makes
};

// What a text does.
template <class Feed> struct TextAction {
    void (*run)(Feed&, std::string_view) = nullptr;
    TextDelivery delivery = TextDelivery::none;
    std::size_t pieceCost = 0; // bytes of what it makes of each piece between commas
    void (*setDate)(Feed&, std::optional<Date>) = nullptr; // what `run` does, if the text is a date
    void (*beside)(Feed&, std::string_view) = nullptr; // what `run` does beside that
};

struct Nothing {
    template <class Feed> constexpr operator StartAction<Feed>() const { return {}; }
    template <class Feed> constexpr operator TextAction<Feed>() const { return {}; }
};
inline constexpr Nothing nothing;

namespace detail {

template <class T> struct MemberOf;
template <class C, class M> struct MemberOf<M C::*> {
    using Class = C;
    using Member = M;
};
template <auto... Path> struct Root;
template <auto First, auto... Rest> struct Root<First, Rest...> {
    using Type = typename MemberOf<decltype(First)>::Class;
};
template <auto... Path> using RootOf = typename Root<Path...>::Type;
template <class T> struct Made;
template <class T> struct Made<std::shared_ptr<T>> {
    using Type = T;
};
template <class T> struct Made<std::optional<std::vector<std::shared_ptr<T>>>> {
    using Type = T;
};

template <class T> T* step(const std::shared_ptr<T>& child)
{
    return child.get();
}
template <class T> T* step(const std::optional<std::vector<std::shared_ptr<T>>>& children)
{
    return children && !children->empty() ? children->back().get() : nullptr;
}

// The field, or null if something on the way to it is missing.
template <auto Member, auto... Rest> auto* reach(auto& from)
{
    if constexpr (sizeof...(Rest) == 0) {
        return &(from.*Member);
    } else {
        auto* next = step(from.*Member);
        using Found = decltype(reach<Rest...>(*next));
        return next ? reach<Rest...>(*next) : Found{nullptr};
    }
}

template <auto... Path>
using FieldAt = std::remove_pointer_t<decltype(reach<Path...>(std::declval<RootOf<Path...>&>()))>;
template <auto... Path> using MadeAt = typename Made<FieldAt<Path...>>::Type;

template <class T> std::shared_ptr<T> make(const ElementAttributes& attributes)
{
    auto made = std::make_shared<T>();
    if constexpr (requires { typename T::Attributes; })
        made->attributes = makeAttributes<typename T::Attributes>(attributes);
    return made;
}

// With the pointer's block and its place in an array.
template <class T> inline constexpr std::size_t costOf = sizeof(T) + 48;

template <auto Set, TextDelivery Delivery, auto... Path>
inline constexpr TextAction<RootOf<Path...>> onText = {
    [](RootOf<Path...>& feed, std::string_view text) {
        if (auto* field = reach<Path...>(feed))
            Set(*field, text);
    },
    Delivery,
    0,
    nullptr,
};

template <auto Read> inline constexpr auto assign = [](auto& field, std::string_view text) { field = Read(text); };

} // namespace detail

// --- start tags

// Makes the object, with the element's attributes, unless there is one.
template <auto... Path>
inline constexpr StartAction<detail::RootOf<Path...>> firstWins = {
    [](detail::RootOf<Path...>& feed, const ElementAttributes& attributes) {
        auto* field = detail::reach<Path...>(feed);
        if (field && !*field)
            *field = detail::make<detail::MadeAt<Path...>>(attributes);
    },
    detail::costOf<detail::MadeAt<Path...>>,
};

// Makes the object, with the element's attributes, also in the place of a former one.
template <auto... Path>
inline constexpr StartAction<detail::RootOf<Path...>> lastWins = {
    [](detail::RootOf<Path...>& feed, const ElementAttributes& attributes) {
        if (auto* field = detail::reach<Path...>(feed))
            *field = detail::make<detail::MadeAt<Path...>>(attributes);
    },
    detail::costOf<detail::MadeAt<Path...>>,
};

// Makes the array unless there is one.
template <auto... Path>
inline constexpr StartAction<detail::RootOf<Path...>> newArray = {
    [](detail::RootOf<Path...>& feed, const ElementAttributes&) {
        auto* field = detail::reach<Path...>(feed);
        if (field && !*field)
            field->emplace();
    },
    0,
};

// Makes the array unless there is one, and a new element at its end, with the element's attributes.
template <auto... Path>
inline constexpr StartAction<detail::RootOf<Path...>> add = {
    [](detail::RootOf<Path...>& feed, const ElementAttributes& attributes) {
        auto* field = detail::reach<Path...>(feed);
        if (!field)
            return;
        if (!*field)
            field->emplace();
        (*field)->push_back(detail::make<detail::MadeAt<Path...>>(attributes));
    },
    detail::costOf<detail::MadeAt<Path...>>,
};

// Keeps one attribute of the element as the field's text, by its name; nothing if the element doesn't have it.
template <const char* Name, auto... Path>
inline constexpr StartAction<detail::RootOf<Path...>> keepAttribute = {
    [](detail::RootOf<Path...>& feed, const ElementAttributes& attributes) {
        auto* field = detail::reach<Path...>(feed);
        if (!field)
            return;
        attributes.forEach([&](std::string_view name, std::string_view value) {
            if (name == Name)
                field->emplace(value);
        });
    },
    0,
};

// --- texts

namespace detail {

inline constexpr auto appendTo = [](std::optional<std::string>& field, std::string_view text) {
    if (field)
        field->append(text);
    else
        field.emplace(text);
};

inline constexpr auto addHour = [](std::optional<std::vector<std::int64_t>>& hours, std::string_view text) {
    const auto hour = toInteger(text);
    if (hours && hour && *hour >= 0 && *hour <= 23)
        hours->push_back(*hour);
};

inline constexpr auto addDay = [](std::optional<std::vector<RSSFeedSkipDay>>& days, std::string_view text) {
    const auto day = makeRSSFeedSkipDay(text);
    if (days && day)
        days->push_back(*day);
};

inline constexpr auto addText = [](std::optional<std::vector<std::string>>& texts, std::string_view text) {
    if (texts)
        texts->emplace_back(text);
};

inline constexpr auto addKeywords = [](std::optional<std::vector<std::string>>& keywords, std::string_view text) {
    if (!keywords || text.empty())
        return;
    for (;;) {
        const auto comma = text.find(',');
        keywords->emplace_back(trimmed(text.substr(0, comma)));
        if (comma == text.npos)
            return;
        text.remove_prefix(comma + 1);
    }
};

inline constexpr auto setTags = [](std::optional<std::vector<std::shared_ptr<MediaTag>>>& tags, std::string_view text) {
    tags = MediaTag::tagsFrom(text);
};

inline constexpr auto setPosition = [](const std::shared_ptr<MediaLocation>& location, std::string_view text) {
    if (location)
        location->mapFrom(text);
};

template <auto Set, class Piece, auto... Path>
inline constexpr TextAction<RootOf<Path...>> onPieces
    = {onText<Set, TextDelivery::events, Path...>.run, TextDelivery::events, costOf<Piece>, nullptr};

} // namespace detail

// The field's text grows by this one, with nothing between them.
template <auto... Path> inline constexpr auto append = detail::onText<detail::appendTo, TextDelivery::joined, Path...>;
// The field becomes what this one text says, absent if it doesn't read.
template <auto... Path>
inline constexpr TextAction<detail::RootOf<Path...>> date = {
    detail::onText<detail::assign<toPermissiveDate>, TextDelivery::events, Path...>.run,
    TextDelivery::events,
    0,
    [](detail::RootOf<Path...>& feed, std::optional<Date> read) {
        if (auto* field = detail::reach<Path...>(feed))
            *field = read;
    },
};
template <auto... Path>
inline constexpr auto integer = detail::onText<detail::assign<toInteger>, TextDelivery::events, Path...>;
template <auto... Path>
inline constexpr auto duration = detail::onText<detail::assign<toDuration>, TextDelivery::events, Path...>;
template <auto... Path>
inline constexpr auto updatePeriod
    = detail::onText<detail::assign<makeSyndicationUpdatePeriod>, TextDelivery::events, Path...>;
// One more element of the array if the text is an hour of the day, or a day of the week.
template <auto... Path> inline constexpr auto hour = detail::onText<detail::addHour, TextDelivery::events, Path...>;
template <auto... Path> inline constexpr auto day = detail::onText<detail::addDay, TextDelivery::events, Path...>;
// One more element for each text.
template <auto... Path> inline constexpr auto addText = detail::onPieces<detail::addText, std::string, Path...>;
// One more element for each piece between commas.
template <auto... Path> inline constexpr auto keywords = detail::onPieces<detail::addKeywords, std::string, Path...>;
// The tags of this text alone.
template <auto... Path> inline constexpr auto tags = detail::onPieces<detail::setTags, MediaTag, Path...>;
template <auto... Path>
inline constexpr auto position = detail::onText<detail::setPosition, TextDelivery::events, Path...>;

namespace detail {

template <class Feed, auto& A, auto& B> constexpr StartAction<Feed> joinedActions(const StartAction<Feed>&)
{
    return {[](Feed& feed, const ElementAttributes& attributes) {
                A.run(feed, attributes);
                B.run(feed, attributes);
            },
        A.cost + B.cost};
}
template <class Feed, auto& A, auto& B> constexpr TextAction<Feed> joinedActions(const TextAction<Feed>&)
{
    return {[](Feed& feed, std::string_view text) {
                A.run(feed, text);
                B.run(feed, text);
            },
        A.delivery, A.pieceCost + B.pieceCost, A.setDate, B.run};
}
template <class Action> struct FeedOf;
template <class Feed> struct FeedOf<StartAction<Feed>> {
    using Type = Feed;
};
template <class Feed> struct FeedOf<TextAction<Feed>> {
    using Type = Feed;
};

} // namespace detail

// One behind the other; texts come as the first wants them.
template <auto& A, auto& B>
inline constexpr auto both
    = detail::joinedActions<typename detail::FeedOf<std::remove_cvref_t<decltype(A)>>::Type, A, B>(A);

} // namespace FeedKit
