#pragma once

#include <type_traits>
#include <utility>
#include <variant>

namespace FeedKit {

// A value or the error that stands in its place, with the names of std::expected (C++23), so that one day it can be an
// alias. An absent value that is no error is a std::optional instead. To look into the one that isn't there throws
// std::bad_variant_access.
template <class T, class E> class [[nodiscard]] Result
{
public:
    using value_type = T;
    using error_type = E;

    Result(T value)
        : state_(std::in_place_index<0>, std::move(value))
    { }
    Result(E error)
        : state_(std::in_place_index<1>, std::move(error))
    { }

    bool has_value() const noexcept { return state_.index() == 0; }
    explicit operator bool() const noexcept { return has_value(); }

    const T& value() const& { return std::get<0>(state_); }
    T& value() & { return std::get<0>(state_); }
    T&& value() && { return std::get<0>(std::move(state_)); }
    const T& operator*() const& { return value(); }
    T& operator*() & { return value(); }
    T&& operator*() && { return std::move(*this).value(); }
    const T* operator->() const { return &value(); }
    T* operator->() { return &value(); }
    const E& error() const& { return std::get<1>(state_); }
    E&& error() && { return std::get<1>(std::move(state_)); }

    template <class U> T value_or(U&& otherwise) const&
    {
        return has_value() ? value() : static_cast<T>(std::forward<U>(otherwise));
    }
    template <class U> T value_or(U&& otherwise) &&
    {
        return has_value() ? std::move(*this).value() : static_cast<T>(std::forward<U>(otherwise));
    }
    // What `next`, which gives a Result of the same error, makes of the value; the error as it is.
    template <class Next> std::invoke_result_t<Next, const T&> and_then(Next&& next) const&
    {
        using Then = std::invoke_result_t<Next, const T&>;
        return has_value() ? std::forward<Next>(next)(value()) : Then(error());
    }
    // The Result of what `change` makes of the value; the error as it is.
    template <class Change> auto transform(Change&& change) const& -> Result<std::invoke_result_t<Change, const T&>, E>
    {
        using Changed = Result<std::invoke_result_t<Change, const T&>, E>;
        return has_value() ? Changed(std::forward<Change>(change)(value())) : Changed(error());
    }

private:
    std::variant<T, E> state_;
};

} // namespace FeedKit
