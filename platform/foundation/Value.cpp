#include "platform/foundation/Value.h"

#include "base/Text.h"
#include "platform/foundation/NSObject.h"

namespace vitrel {

Value::Value(Array members)
    : variant(std::make_shared<const Array>(std::move(members)))
{ }

Value::Value(Dictionary members)
    : variant(std::make_shared<const Dictionary>(std::move(members)))
{ }

namespace {
template <class T> const T* pointee(const Value& value)
{
    const auto* held = value.as<std::shared_ptr<const T>>();
    return held ? held->get() : nullptr;
}
} // namespace

const Array* Value::array() const
{
    return pointee<Array>(*this);
}
const Dictionary* Value::dictionary() const
{
    return pointee<Dictionary>(*this);
}
const Bytes* Value::bytes() const
{
    return pointee<Bytes>(*this);
}

const Value* member(const Dictionary& dictionary, std::string_view key)
{
    const auto found = dictionary.find(key);
    return found == dictionary.end() ? nullptr : &found->second;
}

const std::string* textMember(const Dictionary& dictionary, std::string_view key)
{
    const Value* value = member(dictionary, key);
    return value ? value->as<std::string>() : nullptr;
}

const Dictionary* dictionaryMember(const Dictionary& dictionary, std::string_view key)
{
    const Value* value = member(dictionary, key);
    return value ? value->dictionary() : nullptr;
}

const Array* arrayMember(const Dictionary& dictionary, std::string_view key)
{
    const Value* value = member(dictionary, key);
    return value ? value->array() : nullptr;
}

std::shared_ptr<const NSImage> Value::image() const
{
    const auto* held = as<std::shared_ptr<const NSImage>>();
    return held ? *held : nullptr;
}

std::shared_ptr<NSObject> Value::object() const
{
    const auto* held = as<std::shared_ptr<NSObject>>();
    return held ? *held : nullptr;
}

std::optional<double> Value::number() const
{
    if (const auto* held = as<double>())
        return *held;
    if (const auto* held = as<std::int64_t>())
        return static_cast<double>(*held);
    if (const auto* held = as<bool>())
        return *held ? 1.0 : 0.0;
    return std::nullopt;
}

std::optional<double> Value::doubleValue() const
{
    if (const auto* text = as<std::string>())
        return leadingNumber(*text).value_or(0.0);
    return number();
}

namespace {

// Containers may share their members into a billion: a description ends somewhere.
constexpr std::size_t kLongestDescription = 1u << 20;
constexpr int kDeepestDescription = 64;

std::string describe(const Value& value)
{
    if (const auto* flag = value.as<bool>())
        return *flag ? "1" : "0";
    if (const auto* integer = value.as<std::int64_t>())
        return std::to_string(*integer);
    if (const auto number = value.number())
        return shortestDecimal(*number);
    if (const auto* date = value.as<Date>())
        return shortestDecimal(date->timeIntervalSinceReferenceDate());
    if (const auto* color = value.as<NSColor>())
        return shortestDecimal(color->red) + " " + shortestDecimal(color->green) + " " + shortestDecimal(color->blue)
            + " " + shortestDecimal(color->alpha);
    if (const auto* bytes = value.bytes())
        return "<" + std::to_string(bytes->size()) + " bytes>";
    if (value.image())
        return "<image>";
    if (const auto object = value.object())
        return object->description();
    return "<null>";
}

void describe(const Value& value, std::string& out, int depth)
{
    const auto isOver = [&] { return out.size() > kLongestDescription || depth > kDeepestDescription; };
    if (const auto* text = value.as<std::string>()) {
        out += *text;
    } else if (const auto* members = value.array()) {
        out += '(';
        for (std::size_t k = 0; k < members->size() && !isOver(); ++k) {
            out += k ? ", " : "";
            describe((*members)[k], out, depth + 1);
        }
        out += isOver() ? "...)" : ")";
    } else if (const auto* dictionary = value.dictionary()) {
        out += '{';
        for (const auto& [key, member] : *dictionary) {
            if (isOver())
                break;
            out += key + " = ";
            describe(member, out, depth + 1);
            out += "; ";
        }
        out += isOver() ? "...}" : "}";
    } else {
        out += describe(value);
    }
}

} // namespace

std::string description(const Value& value)
{
    std::string out;
    describe(value, out, 0);
    return out;
}

bool operator==(const Value& a, const Value& b)
{
    if (a.index() != b.index())
        return false;
    if (a.array())
        return *a.array() == *b.array();
    if (a.dictionary())
        return *a.dictionary() == *b.dictionary();
    if (a.bytes())
        return *a.bytes() == *b.bytes();
    return static_cast<const Value::Base&>(a) == static_cast<const Value::Base&>(b);
}

} // namespace vitrel
