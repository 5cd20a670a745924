#pragma once

#include "base/Bytes.h"
#include "base/Date.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace vitrel {

class NSImage;
class NSObject;
struct Value;

using Array = std::vector<Value>;
using Dictionary = std::map<std::string, Value, std::less<>>;

// Straight (not premultiplied) components, 0 to 1.
struct NSColor {
    double red = 0, green = 0, blue = 0, alpha = 0;
    friend bool operator==(const NSColor&, const NSColor&) = default;
};

// What dictionaries, stored defaults and composition inputs hold. Containers, images and bytes are shared and
// immutable, so a copy is cheap. std::monostate is "nothing": it clears an input and removes a key.
struct Value : std::variant<std::monostate, bool, std::int64_t, double, std::string, Date, NSColor,
                   std::shared_ptr<const Bytes>, std::shared_ptr<const Array>, std::shared_ptr<const Dictionary>,
                   std::shared_ptr<const NSImage>, std::shared_ptr<NSObject>> {
    using Base = variant;
    using variant::variant;

    Value(const char* text)
        : variant(std::string(text))
    { }
    Value(int number)
        : variant(static_cast<std::int64_t>(number))
    { }
    Value(Array members);
    Value(Dictionary members);
    Value(Bytes bytes)
        : variant(std::make_shared<const Bytes>(std::move(bytes)))
    { }

    bool isNothing() const { return index() == 0; }

    // The held value if it is of that very kind, else null.
    template <class T> const T* as() const { return std::get_if<T>(static_cast<const Base*>(this)); }
    const Array* array() const;
    const Dictionary* dictionary() const;
    const Bytes* bytes() const;
    std::shared_ptr<const NSImage> image() const;
    std::shared_ptr<NSObject> object() const;

    // A number of any kind; booleans count as 0 and 1.
    std::optional<double> number() const;
    // What doubleValue gives on the platform: numbers as they are, text by its leading number, else absent.
    std::optional<double> doubleValue() const;
};

// A member of a dictionary, if there is one and, where the name says a kind, it is of that kind; else null. The
// dictionary's own.
const Value* member(const Dictionary& dictionary, std::string_view key);
const std::string* textMember(const Dictionary& dictionary, std::string_view key);
const Dictionary* dictionaryMember(const Dictionary& dictionary, std::string_view key);
const Array* arrayMember(const Dictionary& dictionary, std::string_view key);

// What "%@" makes of a value: text as it is, numbers as their shortest decimal, booleans 1 and 0, nothing "<null>",
// containers in the platform's old style, cut short behind a megabyte or 64 levels.
std::string description(const Value& value);

// Deep equality; images and objects by identity.
bool operator==(const Value& a, const Value& b);

} // namespace vitrel
