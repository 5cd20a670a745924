#pragma once

#include "platform/quartzcomposer/scene/Mesh.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

namespace vitrel::qc {

struct PortValue;

// An ordered list of members, with keys or without. Shared and immutable once a port has it.
struct Structure {
    struct Member;
    std::vector<Member> members;
    bool keyed = false; // false: members have positions only

    Structure();
    ~Structure();
    Structure(const Structure& other);
    Structure& operator=(const Structure&) = delete;
    const PortValue* atIndex(std::size_t index) const;
    const PortValue* atKey(const std::string& key) const;

    // False for one that no port may have: nested deeper than 64, with more than a million members when those of its
    // members count as often as they stand in it, or more than fits beside all others that are alive.
    bool fits() const;

private:
    mutable std::uint32_t weight_ = 0, levels_ = 0; // 0: not measured yet
    mutable std::size_t counted_ = 0; // members that it takes of what all may have
};
using StructureRef = std::shared_ptr<const Structure>;

enum class PortType : std::uint8_t {
    Virtual,
    Boolean,
    Index,
    Number,
    String,
    Color,
    Image,
    Structure,
    Mesh,
    Interaction
};

// A text of a port, shared between all that hand it on. Empty in place of one that doesn't fit beside all others that
// are alive: compositions hold 64 MiB of text together.
class SharedText
{
public:
    SharedText(std::string text = {});
    const std::string& text() const;
    friend bool operator==(const SharedText& a, const SharedText& b)
    {
        return a.text_ == b.text_ || a.text() == b.text();
    }

private:
    std::shared_ptr<const std::string> text_; // null: empty
};

// What a port holds: exactly one alternative for each type. std::monostate is "nothing", for virtual ports.
struct PortValue
    : std::variant<std::monostate, bool, std::uint32_t, double, SharedText, NSColor, ImageRef, StructureRef, MeshRef> {
    using Base = variant;
    using variant::variant;
    PortValue(std::string text)
        : variant(SharedText(std::move(text)))
    { }
    PortValue(const char* text)
        : PortValue(std::string(text))
    { }
    // The held value if it is of that very kind, else null; texts as std::string.
    template <class T> const T* as() const
    {
        if constexpr (std::is_same_v<T, std::string>) {
            const auto* shared = std::get_if<SharedText>(static_cast<const Base*>(this));
            return shared ? &shared->text() : nullptr;
        } else {
            return std::get_if<T>(static_cast<const Base*>(this));
        }
    }
    bool isNothing() const { return index() == 0; }
};

struct Structure::Member {
    std::string key;
    PortValue value;
};

// Same kind and same value; images, structures and meshes by identity, a NaN equals itself.
bool sameValue(const PortValue& a, const PortValue& b);

// The type's zero: false, 0, empty text, transparent black, no image, no structure; nothing for a virtual port.
PortValue zeroOf(PortType type);

// `value` as a port of `type` takes it from a connection. What doesn't convert is the type's zero.
PortValue converted(const PortValue& value, PortType type);
std::optional<PortValue> convertedIfPossible(const PortValue& value, PortType type);

// QCNumberPort and the like; Virtual for names that aren't known.
PortType portTypeNamed(const std::string& portClass);
// What `inspect` calls it: "boolean", "index", "number", "string", "color", "image", "structure", "virtual", ...
const char* nameOf(PortType type);

// Between ports and what hosts and files hold. Bytes that are an image file become an image; a dictionary with
// "red", "green", "blue" a colour. What can't be said is nothing. Structures are walked to a depth of 64 and to a
// million members.
PortValue portValue(const Value& value);
Value hostValue(const PortValue& value);

// A host's value for a port of `type`; absent if it doesn't convert. Nothing gives the type's zero.
std::optional<PortValue> portValueForHost(const Value& value, PortType type);

} // namespace vitrel::qc
