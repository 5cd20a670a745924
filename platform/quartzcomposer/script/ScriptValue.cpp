#include "platform/quartzcomposer/script/ScriptValue.h"

#include <algorithm>

namespace vitrel {

ScriptValue::ScriptValue(ScriptArray members)
    : variant(std::make_shared<const ScriptArray>(std::move(members)))
{ }

ScriptValue::ScriptValue(ScriptObject members)
    : variant(std::make_shared<const ScriptObject>(std::move(members)))
{ }

const ScriptArray* ScriptValue::array() const
{
    const auto* held = as<std::shared_ptr<const ScriptArray>>();
    return held ? held->get() : nullptr;
}

const ScriptObject* ScriptValue::object() const
{
    const auto* held = as<std::shared_ptr<const ScriptObject>>();
    return held ? held->get() : nullptr;
}

const ScriptValue* ScriptValue::member(std::string_view key) const
{
    const auto* members = object();
    if (!members)
        return nullptr;
    const auto place
        = std::find_if(members->begin(), members->end(), [&](const auto& entry) { return entry.first == key; });
    return place == members->end() ? nullptr : &place->second;
}

bool operator==(const ScriptValue& a, const ScriptValue& b)
{
    if (a.index() != b.index())
        return false;
    if (a.array() && b.array())
        return *a.array() == *b.array();
    if (a.object() && b.object())
        return *a.object() == *b.object();
    return static_cast<const ScriptValue::Base&>(a) == static_cast<const ScriptValue::Base&>(b);
}

} // namespace vitrel
