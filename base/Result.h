#pragma once

#include <utility>
#include <variant>

namespace vitrel {

// A value or the error that stands in its place. It has std::expected's names and no more, so that one day it
// can be an alias. An absent value that is no error is a std::optional instead.
template <class T, class E> class [[nodiscard]] Result
{
public:
    Result(T value)
        : state_(std::in_place_index<0>, std::move(value))
    { }
    Result(E error)
        : state_(std::in_place_index<1>, std::move(error))
    { }

    bool has_value() const noexcept { return state_.index() == 0; }
    explicit operator bool() const noexcept { return has_value(); }

    const T& operator*() const& { return std::get<0>(state_); }
    T& operator*() & { return std::get<0>(state_); }
    T&& operator*() && { return std::get<0>(std::move(state_)); }
    const T* operator->() const { return &std::get<0>(state_); }
    T* operator->() { return &std::get<0>(state_); }
    const E& error() const { return std::get<1>(state_); }

private:
    std::variant<T, E> state_;
};

} // namespace vitrel
