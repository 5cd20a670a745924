#pragma once

#include "platform/quartzcomposer/script/ScriptValue.h"

#include <jsapi.h>

#include <cstddef>
#include <vector>

namespace vitrel {

// Copies values into the engine's current realm and out of it, within limits. False means that an exception is
// pending, or that the script was ended. For this folder only.
class ScriptConversion
{
public:
    explicit ScriptConversion(JSContext* context)
        : context_(context)
        , ancestors_(context)
    { }

    bool toScript(const ScriptValue& value, JS::MutableHandleValue out);
    bool fromScript(JS::HandleValue value, ScriptValue& out);
    // The members of an object, of whatever kind, but for undefined ones.
    bool membersFromScript(JS::HandleObject object, ScriptObject& out);

private:
    bool toArray(const ScriptArray& members, JS::MutableHandleValue out);
    bool toObject(const ScriptObject& members, JS::MutableHandleValue out);
    bool toText(const std::string& text, JS::MutableHandleValue out);
    bool toHandle(const ScriptHandle& handle, JS::MutableHandleValue out);
    bool fromObject(JS::HandleObject object, ScriptValue& out);
    bool fromArray(JS::HandleObject object, ScriptValue& out);
    bool fromText(JS::HandleString text, std::string& out);

    JSContext* context_;
    JS::RootedObjectVector ancestors_; // of the value that is being read
    int depth_ = 0; // of the value that is being written
    std::size_t members_ = 0, textBytes_ = 0;
};

} // namespace vitrel
