// A script as it stands in a composition file: its header is read, and what is then JavaScript is run once.
#include "platform/quartzcomposer/script/Script.h"
#include "platform/quartzcomposer/script/ScriptHeader.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace vitrel;
    const auto header = parseScriptHeader({reinterpret_cast<const char*>(data), size});
    if (!header)
        return 0;
    std::vector<ScriptValue> arguments;
    for (const auto& input : header->inputs) {
        if (input.name.empty())
            std::abort();
        ScriptValue value = 0.5;
        if (input.type == ScriptType::String)
            value = "text";
        if (input.type == ScriptType::Structure)
            value = ScriptObject{{"a", 1}, {"b", ScriptArray{true, {}}}};
        arguments.push_back(input.arrayCount ? ScriptValue(ScriptArray(std::size_t(input.arrayCount), value)) : value);
    }
    const auto script = Script::compile(header->source, {20, 20});
    if (script)
        (*script)->run(arguments);
    return 0;
}
