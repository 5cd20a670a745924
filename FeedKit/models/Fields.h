#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <tuple>
#include <vector>

// The list of a model's fields, said once in the class with FEEDKIT_FIELDS, and what follows from it: equality here,
// the reading of attributes, and whatever else walks a model field by field.
namespace FeedKit {

template <class Class, class Member> struct Field {
    std::string_view name;
    Member Class::*member;
    std::string_view key; // what the field is called in documents

    constexpr Field(std::string_view name, Member Class::*member)
        : Field(name, member, name)
    { }
    constexpr Field(std::string_view name, Member Class::*member, std::string_view key)
        : name(name)
        , member(member)
        , key(key)
    { }
};

// A class that lists its fields.
template <class T>
concept Model = requires
{
    T::fields();
};

// Calls `visit` with each Field of the class, in the order of the list.
template <Model T, class Visitor> constexpr void forEachField(Visitor&& visit)
{
    std::apply([&](const auto&... field) { (visit(field), ...); }, T::fields());
}

namespace detail {

template <class T> bool sameValue(const T& a, const T& b)
{
    return a == b;
}

// Children are compared by what they hold, not by where they are.
template <class T> bool sameValue(const std::shared_ptr<T>& a, const std::shared_ptr<T>& b)
{
    return a && b ? *a == *b : !a && !b;
}

template <class T>
bool sameValue(
    const std::optional<std::vector<std::shared_ptr<T>>>& a, const std::optional<std::vector<std::shared_ptr<T>>>& b)
{
    if (!a || !b)
        return !a && !b;
    if (a->size() != b->size())
        return false;
    for (std::size_t k = 0; k < a->size(); ++k) {
        if (!sameValue((*a)[k], (*b)[k]))
            return false;
    }
    return true;
}

} // namespace detail

// Equal when all fields are: two absent ones are equal, an absent and a present one are not.
template <Model T> bool operator==(const T& a, const T& b)
{
    return std::apply(
        [&](const auto&... field) { return (detail::sameValue(a.*field.member, b.*field.member) && ...); },
        T::fields());
}

} // namespace FeedKit

// clang-format off
#define FEEDKIT_PARENS ()
#define FEEDKIT_EXPAND(...) FEEDKIT_EXPAND3(FEEDKIT_EXPAND3(FEEDKIT_EXPAND3(__VA_ARGS__)))
#define FEEDKIT_EXPAND3(...) FEEDKIT_EXPAND2(FEEDKIT_EXPAND2(FEEDKIT_EXPAND2(__VA_ARGS__)))
#define FEEDKIT_EXPAND2(...) FEEDKIT_EXPAND1(FEEDKIT_EXPAND1(FEEDKIT_EXPAND1(__VA_ARGS__)))
#define FEEDKIT_EXPAND1(...) __VA_ARGS__
#define FEEDKIT_EACH(Class, name, ...) \
    ::FeedKit::Field(#name, &Class::name) __VA_OPT__(, FEEDKIT_EACH_AGAIN FEEDKIT_PARENS (Class, __VA_ARGS__))
#define FEEDKIT_EACH_AGAIN() FEEDKIT_EACH
// clang-format on

// In a class: its fields, in order, called in documents as they are here.
#define FEEDKIT_FIELDS(Class, ...)                                                                                     \
    static constexpr auto fields()                                                                                     \
    {                                                                                                                  \
        return std::make_tuple(FEEDKIT_EXPAND(FEEDKIT_EACH(Class, __VA_ARGS__)));                                      \
    }
