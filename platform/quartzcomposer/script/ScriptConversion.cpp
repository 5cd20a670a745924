#include "platform/quartzcomposer/script/ScriptConversion.h"

#include "base/Text.h"

#include <js/Array.h>
#include <js/CharacterEncoding.h>
#include <js/Conversions.h>
#include <js/Interrupt.h>
#include <js/Object.h>
#include <js/PropertyAndElement.h>
#include <js/String.h>
#include <js/Value.h>

#include <algorithm>

namespace vitrel {

namespace {

constexpr std::size_t kDeepest = 64;
constexpr std::size_t kMostMembers = 1'000'000;
// A script may return one long text in a thousand places.
constexpr std::size_t kMostText = 16u << 20;

void releaseHandle(JS::GCContext*, JSObject* object)
{
    delete JS::GetMaybePtrFromReservedSlot<ScriptHandle>(object, 0);
}

constexpr JSClassOps kHandleOperations = {.finalize = releaseHandle};
// Freed on the script's thread, as images may hold what belongs to it.
constexpr JSClass kHandleClass
    = {"Image", JSCLASS_HAS_RESERVED_SLOTS(1) | JSCLASS_FOREGROUND_FINALIZE, &kHandleOperations};

// A colour, if the members are those of one.
const ScriptValue* colourMember(const ScriptObject& members, const char* key)
{
    for (const auto& [name, value] : members)
        if (name == key)
            return value.as<double>() ? &value : nullptr;
    return nullptr;
}

ScriptValue objectOrColour(ScriptObject members)
{
    if (members.size() == 4) {
        const auto* red = colourMember(members, "red");
        const auto* green = colourMember(members, "green");
        const auto* blue = colourMember(members, "blue");
        const auto* alpha = colourMember(members, "alpha");
        if (red && green && blue && alpha)
            return ScriptColor{*red->as<double>(), *green->as<double>(), *blue->as<double>(), *alpha->as<double>()};
    }
    return members;
}

} // namespace

bool ScriptConversion::toScript(const ScriptValue& value, JS::MutableHandleValue out)
{
    out.setNull();
    if (++members_ > kMostMembers)
        return true;
    if (!JS_CheckForInterrupt(context_)) // nobody else would look while these are copied
        return false;
    if (const auto* flag = value.as<bool>()) {
        out.setBoolean(*flag);
    } else if (const auto* number = value.as<double>()) {
        out.set(JS::NumberValue(*number));
    } else if (const auto* text = value.as<std::string>()) {
        return toText(*text, out);
    } else if (const auto* colour = value.as<ScriptColor>()) {
        return toObject({{"red", colour->r}, {"green", colour->g}, {"blue", colour->b}, {"alpha", colour->a}}, out);
    } else if (const auto* handle = value.as<ScriptHandle>()) {
        return toHandle(*handle, out);
    } else if (std::size_t(depth_) < kDeepest && (value.array() || value.object())) {
        ++depth_;
        const bool good = value.array() ? toArray(*value.array(), out) : toObject(*value.object(), out);
        --depth_;
        return good;
    }
    return true;
}

bool ScriptConversion::toArray(const ScriptArray& members, JS::MutableHandleValue out)
{
    const std::size_t count = std::min(members.size(), kMostMembers - std::min(kMostMembers, members_));
    JS::RootedValueVector values(context_);
    if (!values.resize(count))
        return false;
    for (std::size_t k = 0; k < count; ++k)
        if (!toScript(members[k], values[k]))
            return false;
    JSObject* array = JS::NewArrayObject(context_, values);
    if (array)
        out.setObject(*array);
    return array;
}

bool ScriptConversion::toObject(const ScriptObject& members, JS::MutableHandleValue out)
{
    JS::RootedObject object(context_, JS_NewPlainObject(context_));
    if (!object)
        return false;
    JS::RootedValue key(context_), value(context_);
    JS::RootedId id(context_);
    for (const auto& [name, member] : members) {
        if (members_ > kMostMembers)
            break;
        if (!toText(name, &key) || !JS_ValueToId(context_, key, &id) || !toScript(member, &value)
            || !JS_DefinePropertyById(context_, object, id, value, JSPROP_ENUMERATE))
            return false;
    }
    out.setObject(*object);
    return true;
}

bool ScriptConversion::toText(const std::string& text, JS::MutableHandleValue out)
{
    const bool ascii
        = std::none_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
    JSString* string = nullptr;
    if (ascii) {
        string = JS_NewStringCopyN(context_, text.data(), text.size());
    } else {
        const std::string good = repairedUtf8(text);
        string = JS_NewStringCopyUTF8N(context_, JS::UTF8Chars(good.data(), good.size()));
    }
    if (string)
        out.setString(string);
    return string;
}

bool ScriptConversion::toHandle(const ScriptHandle& handle, JS::MutableHandleValue out)
{
    JS::RootedObject object(context_, JS_NewObject(context_, &kHandleClass));
    if (!object)
        return false;
    JS::SetReservedSlot(object, 0, JS::PrivateValue(new ScriptHandle(handle)));
    out.setObject(*object);
    return JS_FreezeObject(context_, object);
}

bool ScriptConversion::fromScript(JS::HandleValue value, ScriptValue& out)
{
    out = {};
    if (++members_ > kMostMembers)
        return true;
    if (!JS_CheckForInterrupt(context_))
        return false;
    if (value.isBoolean()) {
        out = value.toBoolean();
    } else if (value.isNumber()) {
        out = value.toNumber();
    } else if (value.isString()) {
        JS::RootedString string(context_, value.toString());
        return fromText(string, out.emplace<std::string>());
    } else if (value.isObject()) {
        JS::RootedObject object(context_, &value.toObject());
        return fromObject(object, out);
    }
    return true;
}

bool ScriptConversion::fromObject(JS::HandleObject object, ScriptValue& out)
{
    if (JS::GetClass(object) == &kHandleClass) {
        if (const auto* handle = JS::GetMaybePtrFromReservedSlot<ScriptHandle>(object, 0))
            out = *handle;
        return true;
    }
    js::ESClass kind;
    if (!JS::GetBuiltinClass(context_, object, &kind))
        return false;
    if (kind == js::ESClass::Number || kind == js::ESClass::Boolean || kind == js::ESClass::Date) {
        JS::RootedValue value(context_, JS::ObjectValue(*object));
        double number = 0;
        if (!JS::ToNumber(context_, value, &number))
            return false;
        out = kind == js::ESClass::Boolean ? ScriptValue(number != 0) : ScriptValue(number);
        return true;
    }
    if (kind == js::ESClass::String) {
        JS::RootedValue value(context_, JS::ObjectValue(*object));
        JS::RootedString text(context_, JS::ToString(context_, value));
        return text && fromText(text, out.emplace<std::string>());
    }
    if (kind == js::ESClass::Function || JS::IsCallable(object))
        return true;
    if (ancestors_.length() >= kDeepest)
        return true;
    for (std::size_t k = 0; k < ancestors_.length(); ++k)
        if (ancestors_[k] == object)
            return true;
    if (!ancestors_.append(object))
        return false;
    bool good;
    if (kind == js::ESClass::Array) {
        good = fromArray(object, out);
    } else {
        ScriptObject members;
        good = membersFromScript(object, members);
        out = objectOrColour(std::move(members));
    }
    ancestors_.popBack();
    return good;
}

bool ScriptConversion::fromArray(JS::HandleObject object, ScriptValue& out)
{
    std::uint32_t length = 0;
    if (!JS::GetArrayLength(context_, object, &length))
        return false;
    const auto count = std::uint32_t(std::min<std::size_t>(length, kMostMembers - std::min(kMostMembers, members_)));
    ScriptArray members;
    JS::RootedValue value(context_);
    for (std::uint32_t k = 0; k < count; ++k)
        if (!JS_GetElement(context_, object, k, &value) || !fromScript(value, members.emplace_back()))
            return false;
    out = std::move(members);
    return true;
}

bool ScriptConversion::membersFromScript(JS::HandleObject object, ScriptObject& out)
{
    JS::Rooted<JS::IdVector> ids(context_, JS::IdVector(context_));
    if (!JS_Enumerate(context_, object, &ids))
        return false;
    JS::RootedValue value(context_), key(context_);
    JS::RootedString name(context_);
    JS::RootedId id(context_);
    for (std::size_t k = 0; k < ids.length() && members_ <= kMostMembers; ++k) {
        id = ids[k];
        if (!JS_IdToValue(context_, id, &key) || !JS_GetPropertyById(context_, object, id, &value))
            return false;
        if (value.isUndefined() || key.isSymbol())
            continue;
        name = JS::ToString(context_, key);
        auto& member = out.emplace_back();
        if (!name || !fromText(name, member.first) || !fromScript(value, member.second))
            return false;
    }
    return true;
}

bool ScriptConversion::fromText(JS::HandleString text, std::string& out)
{
    // Looked at first: a short expression makes a text of a gigabyte, which doesn't exist until it is asked for.
    if (JS_GetStringLength(text) > kMostText - textBytes_)
        return true;
    JSLinearString* linear = JS_EnsureLinearString(context_, text);
    if (!linear)
        return false;
    const std::size_t length = JS::GetDeflatedUTF8StringLength(linear);
    if (length > kMostText - textBytes_)
        return true;
    textBytes_ += length;
    out.resize(length);
    JS::DeflateStringToUTF8Buffer(linear, mozilla::Span(out.data(), out.size()));
    return true;
}

} // namespace vitrel
