#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace vitrel {

struct ScriptValue;
using ScriptArray = std::vector<ScriptValue>;
// Members in their order; a key occurs once.
using ScriptObject = std::vector<std::pair<std::string, ScriptValue>>;

// Straight components, 0 to 1. In a script an object with the members red, green, blue, alpha; an object with these
// and no others comes back as a colour.
struct ScriptColor {
    double r = 0, g = 0, b = 0, a = 0;
    friend bool operator==(const ScriptColor&, const ScriptColor&) = default;
};

// Something that a script can only keep and pass on, such as an image. It comes back as the same object.
struct ScriptHandle {
    std::shared_ptr<const void> object;
    friend bool operator==(const ScriptHandle&, const ScriptHandle&) = default;
};

// What goes into a script and comes out of it. std::monostate is null. Text is UTF-8.
struct ScriptValue : std::variant<std::monostate, bool, double, std::string, ScriptColor, ScriptHandle,
                         std::shared_ptr<const ScriptArray>, std::shared_ptr<const ScriptObject>> {
    using Base = variant;
    using variant::variant;
    ScriptValue(const char* text)
        : variant(std::string(text))
    { }
    ScriptValue(int number)
        : variant(double(number))
    { }
    ScriptValue(ScriptArray members);
    ScriptValue(ScriptObject members);

    template <class T> const T* as() const { return std::get_if<T>(static_cast<const Base*>(this)); }
    const ScriptArray* array() const;
    const ScriptObject* object() const;
    // The object's member; null without one, and for what is no object.
    const ScriptValue* member(std::string_view key) const;
};

// Deep equality; handles by identity.
bool operator==(const ScriptValue& a, const ScriptValue& b);

} // namespace vitrel
