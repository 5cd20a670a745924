#pragma once

#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

namespace vitrel {

struct Value;

// What the run loop can call by name and what an observer list can hold. Always owned by a std::shared_ptr.
class NSObject : public std::enable_shared_from_this<NSObject>
{
public:
    NSObject() = default;
    NSObject(const NSObject&) = delete;
    NSObject& operator=(const NSObject&) = delete;
    virtual ~NSObject() = default;

    // %@ of the object.
    virtual std::string description() const { return "<object>"; }
};

// A named operation of an NSObject, with no argument or one Value. Two selectors are equal if their names are:
// a linker may fold equal code, so addresses prove nothing.
struct Selector {
    const char* name = "";
    void (*call)(NSObject& target, const Value& object) = nullptr;

    friend bool operator==(const Selector& a, const Selector& b) { return std::string(a.name) == b.name; }
};

namespace detail {
template <class T> struct ClassOf;
template <class R, class C, class... A> struct ClassOf<R (C::*)(A...)> {
    using type = C;
};
template <auto Operation> struct Thunk {
    static void call(NSObject& target, const Value& object)
    {
        using Class = typename ClassOf<decltype(Operation)>::type;
        auto& self = static_cast<Class&>(target);
        if constexpr (std::is_invocable_v<decltype(Operation), Class&>)
            (self.*Operation)();
        else
            (self.*Operation)(object);
    }
};
} // namespace detail

#define SELECTOR(Class, operation) (::vitrel::Selector{#operation, &::vitrel::detail::Thunk<&Class::operation>::call})

// An operation asked of an object that may not be there: without one it has no effect and gives zero.
template <class Pointer, class Operation, class... Arguments>
auto send(const Pointer& object, Operation operation, Arguments&&... arguments)
{
    using Answer = std::decay_t<std::invoke_result_t<Operation, decltype(*object), Arguments...>>;
    if constexpr (std::is_void_v<Answer>) {
        if (object)
            std::invoke(operation, *object, std::forward<Arguments>(arguments)...);
    } else {
        return object ? Answer(std::invoke(operation, *object, std::forward<Arguments>(arguments)...)) : Answer{};
    }
}

} // namespace vitrel
