#pragma once

#include "base/Text.h"
#include "platform/foundation/Value.h"

#include <concepts>
#include <string>
#include <string_view>
#include <type_traits>

namespace vitrel {

// The functions by which code says something on standard output. The name tells the kind of message; only printApp
// and printErrorAlways print, the others take what they are given and show nothing. Any thread.

// Stands at the head of every printed line. Empty; for the program to set before anything is printed.
std::string& printPrefix();

namespace print {

// An item as plain text: text as it is, numbers at their shortest, anything else by its description.
template <class T> std::string text(const T& item)
{
    if constexpr (std::is_same_v<T, bool>)
        return item ? "true" : "false";
    else if constexpr (std::is_same_v<T, char>)
        return std::string(1, item);
    else if constexpr (std::is_convertible_v<const T&, std::string_view>)
        return std::string(std::string_view(item));
    else if constexpr (std::is_integral_v<T>)
        return std::to_string(item);
    else if constexpr (std::is_floating_point_v<T>)
        return shortestDecimal(item);
    else if constexpr (requires {
                           {
                               item.description()
                               } -> std::convertible_to<std::string>;
                       })
        return item.description();
    else
        return description(item);
}

// The items with one blank between them.
template <class... Items> std::string joined(const Items&... items)
{
    std::string out;
    [[maybe_unused]] bool first = true;
    ((out += first ? "" : " ", out += text(items), first = false), ...);
    return out;
}

// `line` and a line end, in one piece.
void line(std::string line);

// Where lines go, for the whole process; for the program to say before anything is printed. At first to standard
// output, which is no place for them where a program writes its results there.
enum class Destination { StandardOutput, StandardError, Nowhere };
void setDestination(Destination destination);

} // namespace print

template <class... Items> void printApp(const Items&... items)
{
    print::line(printPrefix() + " " + print::joined(items...));
}
template <class... Items> void printErrorAlways(const Items&... items)
{
    print::line(printPrefix() + "\xE2\x9D\x8C " + print::joined(items...));
}

template <class... Items> void printLog(const Items&... items)
{
    print::joined(items...);
}
template <class... Items> void printDate(const Items&... items)
{
    print::joined(items...);
}
template <class... Items> void printCheck(const Items&... items)
{
    print::joined(items...);
}
template <class... Items> void printGreen(const Items&... items)
{
    print::joined(items...);
}
template <class... Items> void printWarning(const Items&... items)
{
    print::joined(items...);
}
template <class... Items> void printWarningDebug(const Items&... items)
{
    print::joined(items...);
}
template <class... Items> void printError(const Items&...) { }
template <class... Items> void printErrorDebug(const Items&...) { }
template <class... Items> void printFunc(const Items&...) { }
template <class... Items> void printLink(const Items&...) { }

inline void printLogL(const Array&, std::string_view, std::string_view, int) { }
inline void printWarningL(std::string_view, std::string_view, std::string_view, int) { }
inline void printErrorL(std::string_view, std::string_view, int) { }

} // namespace vitrel
